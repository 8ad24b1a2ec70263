#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantor::tables {

/// Writes a text in another charset; both have iconv's names. Returns nothing unless every character has its exact
/// counterpart. Any thread may call it.
std::optional<std::string> convertText(const char* to, const char* from, std::string_view text);

}  // namespace vantor::tables
