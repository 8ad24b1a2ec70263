#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Text of DVB descriptors, EN 300 468 Annex A: characters of one of many tables, behind a selector that names the
/// table.
///
/// On this side it is UTF-8, where "\n" stands for the control code CR/LF and U+E080 to U+E09F for the other
/// control codes (U+E086 and U+E087 put emphasis on and off), as the standard itself has them in its two-byte
/// tables. Other control characters have no place in a text.
///
/// Any thread may call these functions.

namespace vantor::tables {

struct DvbText {
  std::string text;   ///< UTF-8
  std::string table;  ///< the selector's bytes; none for the default table
};

/// True when this is the selector of a table that is known here.
bool isTextTable(std::string_view selector);

/// Writes the text with the first table that has all its characters: the default table, the parts of ISO/IEC 8859
/// in the order of their selectors, UTF-8. Returns nothing when it holds control characters.
std::optional<std::string> encodeText(const std::string& text);

/// Writes the text with the table that it names. Returns nothing when the table lacks a character.
std::optional<std::string> encodeText(const DvbText& text);

/// Returns nothing when the table is unknown or has no characters for the bytes.
std::optional<DvbText> decodeText(std::string_view bytes);

}  // namespace vantor::tables
