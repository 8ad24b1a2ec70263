#pragma once

#include <string_view>

namespace vantor::tables {

/// Whether an elementary stream's packet begins in a packet (188 bytes).
[[nodiscard]] bool beginsPes(std::string_view packet);

[[nodiscard]] bool isScrambled(std::string_view packet);

}  // namespace vantor::tables
