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
  std::string text;       ///< UTF-8
  std::string table;      ///< the selector's bytes; none for the default table
  std::string charset{};  ///< that the bytes are in though there is no selector; empty for the default table
};

/// As long as it lives, decodeText() takes what this thread gives it without a selector for text in another
/// character set than the default table. Not one within another.
class DefaultCharset {
 public:
  /// One that isTextCharset(), or empty for the default table.
  explicit DefaultCharset(const std::string& name);
  DefaultCharset(const DefaultCharset&) = delete;
  DefaultCharset& operator=(const DefaultCharset&) = delete;
  ~DefaultCharset();
};

/// True when iconv knows this character set and it holds ASCII, as is.
bool isTextCharset(const std::string& name);

/// True when this is the selector of a table that is known here.
bool isTextTable(std::string_view selector);

/// Writes the text with the first table that has all its characters: the default table, the parts of ISO/IEC 8859
/// in the order of their selectors, UTF-8. Returns nothing when it holds control characters.
std::optional<std::string> encodeText(const std::string& text);

/// Writes the text with the table or character set that it names. Returns nothing when that lacks a character.
std::optional<std::string> encodeText(const DvbText& text);

/// Returns nothing when the table is unknown or has no characters for the bytes.
std::optional<DvbText> decodeText(std::string_view bytes);

}  // namespace vantor::tables
