#pragma once

#include <string_view>

/// CRC_32 of whole sections, ISO/IEC 13818-1 annex A.

namespace vantor {

/// Whether the section ends with a CRC_32: every one with the section_syntax_indicator does, and without it the
/// TOT. At least the first two bytes of the section are there.
[[nodiscard]] bool endsWithCrc(std::string_view section);

/// Whether the last four bytes are the CRC_32 of those before. There are more than four.
[[nodiscard]] bool isCrcRight(std::string_view section);

}  // namespace vantor
