#pragma once

#include <cstdint>
#include <optional>

#include "interface/checks/Refusal.h"

namespace vantor {

/// Why a PMT should not be sent on this PID, if it should not. The PMT's record does not have it: the path is
/// "/pid".
[[nodiscard]] std::optional<Refusal> checkProgramMapPid(std::int32_t pid);

}  // namespace vantor
