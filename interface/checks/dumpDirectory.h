#pragma once

#include <optional>
#include <string>

#include "interface/checks/Refusal.h"

namespace vantor {

/// Why dump files should not be kept in the directory, if they should not. It has to exist and to be writable. Its
/// name reaches a shell, so it may not hold anything that a shell interprets; and every *.bin in it is removed when
/// the output ends, so those must be dump files. Looks at the files there: not to be called where it may not block.
/// The refusal's path is empty.
[[nodiscard]] std::optional<Refusal> checkDumpDirectory(const std::string& path);

}  // namespace vantor
