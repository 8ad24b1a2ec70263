#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A strict reader of JSON documents. Everything in it throws InputError, with the JSON pointer (RFC 6901) of what
/// is wrong, or with line and column where the text is no JSON at all.

namespace vantor::tables {

using Json = nlohmann::json;

/// Parses a whole text. Refuses what JSON parsers commonly let through: a field given twice, and nesting so deep
/// that only an attack or an accident can be behind it.
Json parseJson(std::string_view text);

/// One value of a document and the way to it. It refers to the document and to its parent: both outlive it.
class JsonValue {
 public:
  explicit JsonValue(const Json& document) : json(document) {}

  /// Throws "POINTER: what".
  [[noreturn]] void fail(const std::string& what) const;
  /// The same for what a JSON pointer leads to from here, or where it ends when the document goes less far.
  [[noreturn]] void failAt(std::string_view pointer, const std::string& what) const;
  /// The value as a message shows it: JSON in one printable line.
  std::string shown() const;

  bool isObject() const { return json.is_object(); }
  bool isString() const { return json.is_string(); }
  std::int64_t integer(std::int64_t min, std::int64_t max) const;
  /// From 0 to what the type holds.
  template <typename Integer>
  Integer integer() const {
    return static_cast<Integer>(integer(0, std::numeric_limits<Integer>::max()));
  }
  bool boolean() const;
  const std::string& string() const;

  /// The bytes that a string of hex digits stands for, at most `max` of them.
  std::string hexBytes(std::size_t max) const;

  /// Number of elements; the value must be an array.
  std::size_t size() const;
  JsonValue at(std::size_t index) const;

  /// The value must be an object with none but these fields.
  void allowOnly(const std::vector<const char*>& fields) const;
  JsonValue required(const char* field) const;
  std::optional<JsonValue> optional(const char* field) const;

 private:
  JsonValue(const Json& json, const JsonValue& parent, std::string name)
      : json(json), parent(&parent), name(std::move(name)) {}

  [[noreturn]] void failType(const char* expected) const;
  void expectObject() const;
  std::string pointer() const;

  const Json& json;
  const JsonValue* parent = nullptr;
  std::string name;  // within the parent
};

}  // namespace vantor::tables
