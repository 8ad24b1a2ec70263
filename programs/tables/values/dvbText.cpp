#include "programs/tables/values/dvbText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "programs/tables/values/charsets.h"

namespace vantor::tables {

namespace {

struct TextTable {
  std::string selector;
  const char* charset;  // iconv's name
  bool oneByte;         // control codes are one byte and not characters of the charset
};

constexpr char kUtf8Selector = 0x15;
constexpr char kLowestCharacter = 0x20;  // a first byte below is a selector

std::string thirdByte(char part) { return {0x10, 0x00, part}; }

/// EN 300 468 tables A.3 and A.4, in the order in which a table is chosen; none behind UTF-8 ever is.
const std::vector<TextTable>& textTables() {
  static const std::vector<TextTable> tables{
      {"", "ISO6937", true},
      {"\x01", "ISO-8859-5", true},
      {"\x02", "ISO-8859-6", true},
      {"\x03", "ISO-8859-7", true},
      {"\x04", "ISO-8859-8", true},
      {"\x05", "ISO-8859-9", true},
      {"\x06", "ISO-8859-10", true},
      {"\x07", "ISO-8859-11", true},
      {"\x09", "ISO-8859-13", true},
      {"\x0A", "ISO-8859-14", true},
      {"\x0B", "ISO-8859-15", true},
      {thirdByte(0x01), "ISO-8859-1", true},
      {thirdByte(0x02), "ISO-8859-2", true},
      {thirdByte(0x03), "ISO-8859-3", true},
      {thirdByte(0x04), "ISO-8859-4", true},
      {thirdByte(0x05), "ISO-8859-5", true},
      {thirdByte(0x06), "ISO-8859-6", true},
      {thirdByte(0x07), "ISO-8859-7", true},
      {thirdByte(0x08), "ISO-8859-8", true},
      {thirdByte(0x09), "ISO-8859-9", true},
      {thirdByte(0x0A), "ISO-8859-10", true},
      {thirdByte(0x0B), "ISO-8859-11", true},
      {thirdByte(0x0D), "ISO-8859-13", true},
      {thirdByte(0x0E), "ISO-8859-14", true},
      {thirdByte(0x0F), "ISO-8859-15", true},
      {std::string(1, kUtf8Selector), "UTF-8", false},
      {"\x11", "UCS-2BE", false},
      {"\x12", "EUC-KR", false},
      {"\x13", "GB2312", false},
      {"\x14", "BIG5", false},
  };
  return tables;
}

const TextTable* findTable(std::string_view selector) {
  for (const auto& table : textTables())
    if (table.selector == selector) return &table;
  return nullptr;
}

// ---- control codes, EN 300 468 tables A.1 and A.2

constexpr std::string_view kControlPrefix = "\xEE\x82";  // with 0x80 to 0x9F behind, UTF-8 of U+E080 to U+E09F
constexpr std::string_view kNewLine = "\xEE\x82\x8A";    // CR/LF
constexpr std::string_view kEuroSign = "\xE2\x82\xAC";
constexpr char kEuroCode = '\xA4';

bool isControlCode(char c) {
  return static_cast<unsigned char>(c) >= 0x80 && static_cast<unsigned char>(c) <= 0x9F;
}

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

/// Control characters of ASCII or of ISO/IEC 6429 at U+0080 to U+009F.
bool holdsControlCharacters(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte == 0x7F) return true;
    if (byte == 0xC2 && i + 1 < text.size() && isControlCode(text[i + 1])) return true;
  }
  return false;
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
}

/// ISO 6937 has no euro sign, the default table made of it has.
bool hasOwnEuroSign(const TextTable& table) { return &table == &textTables().front(); }

/// The one-byte code at the beginning of the text that iconv does not know; 0 when there is none.
char ownCode(const TextTable& table, std::string_view text) {
  if (hasOwnEuroSign(table) && startsWith(text, kEuroSign)) return kEuroCode;
  if (text.size() > kControlPrefix.size() && startsWith(text, kControlPrefix)) {
    const char code = text[kControlPrefix.size()];
    if (isControlCode(code)) return code;
  }
  return 0;
}

/// What ownCode() has made a code of; empty when the byte is none.
std::string ofOwnCode(const TextTable& table, char byte) {
  if (hasOwnEuroSign(table) && byte == kEuroCode) return std::string(kEuroSign);
  return isControlCode(byte) ? std::string(kControlPrefix) + byte : std::string();
}

std::optional<std::string> toOneByteTable(const TextTable& table, std::string_view text) {
  constexpr std::size_t kOwnCodeSize = 3;  // of the euro sign and of every control code in UTF-8
  std::string out;
  while (!text.empty()) {
    std::size_t run = 0;
    while (run < text.size() && ownCode(table, text.substr(run)) == 0) ++run;
    const auto converted = convertText(table.charset, "UTF-8", text.substr(0, run));
    if (!converted) return std::nullopt;
    out += *converted;
    text.remove_prefix(run);
    if (text.empty()) break;
    out += ownCode(table, text);
    text.remove_prefix(kOwnCodeSize);
  }
  return out;
}

std::optional<std::string> fromOneByteTable(const TextTable& table, std::string_view bytes) {
  std::string out;
  while (!bytes.empty()) {
    std::size_t run = 0;
    while (run < bytes.size() && ofOwnCode(table, bytes[run]).empty()) ++run;
    const auto converted = convertText("UTF-8", table.charset, bytes.substr(0, run));
    if (!converted) return std::nullopt;
    out += *converted;
    bytes.remove_prefix(run);
    if (bytes.empty()) break;
    out += ofOwnCode(table, bytes.front());
    bytes.remove_prefix(1);
  }
  return out;
}

std::optional<std::string> encodeWith(const TextTable& table, std::string text) {
  replaceAll(text, "\n", kNewLine);
  if (holdsControlCharacters(text)) return std::nullopt;
  const auto characters = table.oneByte ? toOneByteTable(table, text) : convertText(table.charset, "UTF-8", text);
  if (!characters) return std::nullopt;
  return table.selector + *characters;
}

/// Characters that the first table, which has no selector, has in the same places as ASCII.
std::array<bool, 256> findPlainCharacters() {
  std::array<bool, 256> plain{};
  for (char c = kLowestCharacter; c < 0x7F; ++c)
    plain[static_cast<unsigned char>(c)] = encodeWith(textTables().front(), std::string(1, c)) == std::string(1, c);
  return plain;
}

/// Whether there is nothing to do to a text, as to most.
bool isPlain(const std::string& text) {
  static const std::array<bool, 256> plain = findPlainCharacters();
  return std::all_of(text.begin(), text.end(), [](char c) { return plain[static_cast<unsigned char>(c)]; });
}

std::size_t selectorSize(std::string_view bytes) {
  if (bytes.empty() || static_cast<unsigned char>(bytes[0]) >= kLowestCharacter) return 0;
  return std::min<std::size_t>(bytes.size(), bytes[0] == 0x10 ? 3 : 1);
}

/// Of a text without a selector.
std::string& defaultCharset() {
  thread_local std::string name;
  return name;
}

/// Text of a character set by itself. Those of ISO/IEC 8859 leave the room where DVB has its control codes.
TextTable tableOf(const std::string& charset) {
  std::string name = charset;
  std::transform(name.begin(), name.end(), name.begin(), [](char c) { return c >= 'a' && c <= 'z' ? c - 32 : c; });
  const bool hasControlCodes = name.find("8859") != std::string::npos;
  return {"", charset.c_str(), hasControlCodes};
}

std::optional<std::string> decodeWith(const TextTable& table, std::string_view characters) {
  auto text = table.oneByte ? fromOneByteTable(table, characters) : convertText("UTF-8", table.charset, characters);
  if (!text || holdsControlCharacters(*text)) return std::nullopt;
  replaceAll(*text, kNewLine, "\n");
  return text;
}

/// A text that has no selector and is not in the default table.
std::optional<DvbText> decodeWithDefaultCharset(std::string_view bytes) {
  if (defaultCharset().empty() || bytes.empty() || selectorSize(bytes) != 0) return std::nullopt;
  const auto text = decodeWith(tableOf(defaultCharset()), bytes);
  return text ? std::optional(DvbText{*text, "", defaultCharset()}) : std::nullopt;
}

}  // namespace

DefaultCharset::DefaultCharset(const std::string& name) { defaultCharset() = name; }
DefaultCharset::~DefaultCharset() { defaultCharset().clear(); }

bool isTextCharset(const std::string& name) {
  static const std::string kAscii = " 09AZaz~";
  return !name.empty() && convertText(name.c_str(), "UTF-8", kAscii) == kAscii;
}

bool isTextTable(std::string_view selector) { return findTable(selector) != nullptr; }

std::optional<std::string> encodeText(const std::string& text) {
  if (isPlain(text)) return text;
  for (const auto& table : textTables())
    if (auto bytes = encodeWith(table, text)) return bytes;
  return std::nullopt;
}

std::optional<std::string> encodeText(const DvbText& text) {
  if (!text.charset.empty()) {
    auto bytes = encodeWith(tableOf(text.charset), text.text);
    return bytes && selectorSize(*bytes) == 0 ? bytes : std::nullopt;
  }
  const TextTable* const table = findTable(text.table);
  return table != nullptr ? encodeWith(*table, text.text) : std::nullopt;
}

std::optional<DvbText> decodeText(std::string_view bytes) {
  if (auto text = decodeWithDefaultCharset(bytes)) return text;
  const std::string_view selector = bytes.substr(0, selectorSize(bytes));
  const TextTable* const table = findTable(selector);
  if (table == nullptr) return std::nullopt;
  const auto text = decodeWith(*table, bytes.substr(selector.size()));
  return text ? std::optional(DvbText{*text, std::string(selector), ""}) : std::nullopt;
}

}  // namespace vantor::tables
