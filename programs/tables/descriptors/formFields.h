#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "programs/tables/descriptors/BitReader.h"
#include "programs/tables/descriptors/BitWriter.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

/// Kinds of fields that descriptors are made of. Those that read a JSON field throw InputError, those that take
/// from a payload let the reader fail.

namespace vantor::tables {

/// A number that fits the bits.
std::uint32_t readNumber(const JsonValue& owner, const char* field, unsigned bits);

/// A number that fills the type.
template <typename Unsigned>
Unsigned readNumber(const JsonValue& owner, const char* field) {
  return static_cast<Unsigned>(readNumber(owner, field, 8 * sizeof(Unsigned)));
}

/// Appends a number.
void put(BitWriter& to, const JsonValue& owner, const char* field, unsigned bits);

bool readFlag(const JsonValue& owner, const char* field);
/// Appends a flag.
void putFlag(BitWriter& to, const JsonValue& owner, const char* field);

/// Multiples of a unit, such as a frequency in Hz that goes out in steps of 100 Hz.
std::uint32_t readMultiple(const JsonValue& owner, const char* field, std::uint32_t unit, unsigned bits);

/// The same in binary coded decimals.
std::uint32_t readDecimal(const JsonValue& owner, const char* field, std::uint32_t unit, unsigned digits);
std::uint64_t takeDecimal(BitReader& from, std::uint32_t unit, unsigned digits);

/// A PID of 13 bits.
std::uint16_t readPidField(const JsonValue& owner, const char* field);
std::string takePid(BitReader& from);

constexpr const char* kLanguageField = "ISO_639_language_code";

/// Three letters.
std::string readLanguage(const JsonValue& owner);
std::string takeLanguage(BitReader& from);

constexpr const char* kCountryField = "country_code";

/// Three letters, or the three digits of a group of countries.
std::string readCountry(const JsonValue& owner);
std::string takeCountry(BitReader& from);

/// A text whose bytes fit the room: a string, {"text": "...", "table": "hex"} or {"text": "...", "charset":
/// "name"}. Gives the bytes.
std::string readText(const JsonValue& owner, const char* field, std::size_t room);
OrderedJson textOf(BitReader& from, std::string_view bytes);

/// Printable ASCII, as the names of the Internet have it.
std::string readAscii(const JsonValue& owner, const char* field, std::size_t room);
std::string asciiOf(BitReader& from, std::string_view bytes);

/// Hex digits, none when the field is absent.
std::string readBytes(const JsonValue& owner, const char* field, std::size_t room);
/// Leaves the field out when there are no bytes.
void addBytes(OrderedJson& owner, const char* field, std::string_view bytes);

/// Calls `entry` with each element of an array that may have at most so many.
template <typename Entry>
void forEach(const JsonValue& list, std::size_t most, Entry entry) {
  if (list.size() > most) list.fail(std::to_string(list.size()) + " entries are more than " + std::to_string(most));
  for (std::size_t i = 0; i < list.size(); ++i) entry(i, list.at(i));
}

/// What `entry` makes of the payload, again and again up to its end.
template <typename Entry>
OrderedJson takeAll(BitReader& from, Entry entry) {
  OrderedJson list = OrderedJson::array();
  while (!from.atEnd()) list.push_back(entry(from));
  return list;
}

}  // namespace vantor::tables
