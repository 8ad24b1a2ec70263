#include "programs/tables/descriptors/formFields.h"

#include <algorithm>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/pidJson.h"
#include "programs/tables/values/dvbText.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kCodeSize = 3;         // letters of a language or a country
constexpr std::size_t kLongestSelector = 3;  // bytes
constexpr unsigned kPidBits = 13;

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

bool isLanguage(std::string_view code) {
  return code.size() == kCodeSize && std::all_of(code.begin(), code.end(), isLetter);
}

bool isCountry(std::string_view code) {
  return isLanguage(code) || (code.size() == kCodeSize && std::all_of(code.begin(), code.end(), isDigit));
}

std::string quoted(const std::string& text) { return printable("\"" + text + "\""); }

std::string takeCode(BitReader& from, bool (*isCode)(std::string_view)) {
  const std::string_view code = from.bytes(kCodeSize);
  if (!isCode(code)) from.fail();
  return std::string(from.isGood() ? code : "");
}

std::uint32_t limitOf(unsigned bits) { return 0xFFFFFFFF >> (32 - bits); }

std::uint32_t maxDecimal(unsigned digits) {
  std::uint32_t limit = 1;
  for (; digits > 0; --digits) limit *= 10;
  return limit - 1;
}

/// The field in units, of which there may be at most `max`.
std::uint32_t readUnits(const JsonValue& owner, const char* field, std::uint32_t unit, std::uint32_t max) {
  const JsonValue json = owner.required(field);
  const std::int64_t value = json.integer(0, static_cast<std::int64_t>(max) * unit);
  if (value % unit != 0) json.fail(std::to_string(value) + " is not a multiple of " + std::to_string(unit));
  return static_cast<std::uint32_t>(value / unit);
}

/// How many NULs end it. Broadcasters leave them behind names, where no character table has them.
std::size_t endingNuls(std::string_view text) { return text.size() - (text.find_last_not_of('\0') + 1); }

std::string encodeWithChosenTable(const JsonValue& json) {
  const std::string& text = json.string();
  const std::size_t nuls = endingNuls(text);
  const auto bytes = encodeText(text.substr(0, text.size() - nuls));
  if (!bytes) json.fail(quoted(text) + " holds a control character");
  return *bytes + std::string(nuls, '\0');
}

/// Without a selector, for receivers that take another table for the default one.
std::string encodeWithGivenCharset(const JsonValue& json) {
  json.allowOnly({"text", "charset"});
  const JsonValue text = json.required("text");
  const JsonValue charset = json.required("charset");
  if (!isTextCharset(charset.string()))
    charset.fail(quoted(charset.string()) + " is no character set that holds ASCII");
  const auto bytes = encodeText(DvbText{text.string(), "", charset.string()});
  if (!bytes) text.fail(quoted(text.string()) + " cannot be written with the character set " + charset.string());
  return *bytes;
}

std::string encodeWithGivenTable(const JsonValue& json) {
  json.allowOnly({"text", "table"});
  const JsonValue text = json.required("text");
  const JsonValue selector = json.required("table");
  const std::string table = selector.hexBytes(kLongestSelector);
  if (!isTextTable(table)) selector.fail(quoted(selector.string()) + " selects no character table");
  const auto bytes = encodeText(DvbText{text.string(), table, ""});
  if (!bytes) text.fail(quoted(text.string()) + " cannot be written with the table " + quoted(selector.string()));
  return *bytes;
}

std::string encodeAsGiven(const JsonValue& json) {
  if (!json.isObject()) return encodeWithChosenTable(json);
  return json.optional("charset") ? encodeWithGivenCharset(json) : encodeWithGivenTable(json);
}

}  // namespace

std::uint32_t readNumber(const JsonValue& owner, const char* field, unsigned bits) {
  return static_cast<std::uint32_t>(owner.required(field).integer(0, limitOf(bits)));
}

void put(BitWriter& to, const JsonValue& owner, const char* field, unsigned bits) {
  to.bits(readNumber(owner, field, bits), bits);
}

bool readFlag(const JsonValue& owner, const char* field) { return owner.required(field).boolean(); }

void putFlag(BitWriter& to, const JsonValue& owner, const char* field) {
  to.bits(readFlag(owner, field) ? 1 : 0, 1);
}

std::uint32_t readMultiple(const JsonValue& owner, const char* field, std::uint32_t unit, unsigned bits) {
  return readUnits(owner, field, unit, limitOf(bits));
}

std::uint32_t readDecimal(const JsonValue& owner, const char* field, std::uint32_t unit, unsigned digits) {
  std::uint32_t value = readUnits(owner, field, unit, maxDecimal(digits));
  std::uint32_t coded = 0;
  for (unsigned shift = 0; value > 0; value /= 10, shift += 4) coded |= value % 10 << shift;
  return coded;
}

std::uint64_t takeDecimal(BitReader& from, std::uint32_t unit, unsigned digits) {
  std::uint64_t value = 0;
  for (; digits > 0; --digits) {
    const std::uint32_t digit = from.bits(4);
    if (digit > 9) from.fail();
    value = value * 10 + digit;
  }
  return value * unit;
}

std::uint16_t readPidField(const JsonValue& owner, const char* field) {
  return static_cast<std::uint16_t>(readPid(owner.required(field)));
}

std::string takePid(BitReader& from) { return pidText(static_cast<std::int32_t>(from.bits(kPidBits))); }

std::string readLanguage(const JsonValue& owner) {
  const JsonValue json = owner.required(kLanguageField);
  if (!isLanguage(json.string())) json.fail(quoted(json.string()) + " is not three letters");
  return json.string();
}

std::string takeLanguage(BitReader& from) { return takeCode(from, isLanguage); }

std::string readCountry(const JsonValue& owner) {
  const JsonValue json = owner.required(kCountryField);
  if (!isCountry(json.string())) json.fail(quoted(json.string()) + " is not three letters or three digits");
  return json.string();
}

std::string takeCountry(BitReader& from) { return takeCode(from, isCountry); }

std::string readText(const JsonValue& owner, const char* field, std::size_t room) {
  const JsonValue json = owner.required(field);
  std::string bytes = encodeAsGiven(json);
  if (bytes.size() > room)
    json.fail("the text takes " + std::to_string(bytes.size()) + " bytes, at most " + std::to_string(room) +
              " fit");
  return bytes;
}

OrderedJson textOf(BitReader& from, std::string_view bytes) {
  const auto text = decodeText(bytes);
  if (!text) {
    const std::size_t nuls = endingNuls(bytes);
    const auto name = decodeText(bytes.substr(0, bytes.size() - nuls));
    if (name && nuls > 0 && encodeText(name->text) == bytes.substr(0, bytes.size() - nuls))
      return name->text + std::string(nuls, '\0');
    from.fail();
    return {};
  }
  if (encodeText(text->text) == bytes) return text->text;
  if (!text->charset.empty()) return {{"text", text->text}, {"charset", text->charset}};
  return {{"text", text->text}, {"table", hexDigits(text->table)}};
}

std::string readAscii(const JsonValue& owner, const char* field, std::size_t room) {
  const JsonValue json = owner.required(field);
  const std::string& text = json.string();
  if (!isAscii(text)) json.fail(quoted(text) + " has other characters than printable ones of ASCII");
  if (text.size() > room)
    json.fail(std::to_string(text.size()) + " characters are more than " + std::to_string(room));
  return text;
}

std::string asciiOf(BitReader& from, std::string_view bytes) {
  if (!isAscii(bytes)) from.fail();
  return std::string(from.isGood() ? bytes : "");
}

std::string readBytes(const JsonValue& owner, const char* field, std::size_t room) {
  const auto json = owner.optional(field);
  return json ? json->hexBytes(room) : std::string();
}

void addBytes(OrderedJson& owner, const char* field, std::string_view bytes) {
  if (!bytes.empty()) owner[field] = hexDigits(std::string(bytes));
}

}  // namespace vantor::tables
