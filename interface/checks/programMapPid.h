#pragma once

#include <cstdint>
#include <optional>

#include "interface/checks/Refusal.h"

namespace vantor {

// Below are the PIDs that the standards reserve for tables of their own; above is the null packets' one.
constexpr std::int32_t kFirstProgramPid = 0x0020;
constexpr std::int32_t kLastProgramPid = 0x1FFE;

/// Why a PMT should not be sent on this PID, if it should not. The PMT's record does not have it: the path is
/// "/pid".
[[nodiscard]] std::optional<Refusal> checkProgramMapPid(std::int32_t pid);

}  // namespace vantor
