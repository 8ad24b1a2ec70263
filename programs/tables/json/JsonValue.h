#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A strict reader of JSON documents. Everything in it throws InputError, with the JSON pointer (RFC 6901) of what
/// is wrong.

namespace vantor::tables {

using Json = nlohmann::json;

/// One value of a document and the way to it. It refers to the document and to its parent: both outlive it.
class JsonValue {
 public:
  /// A document, or the part of one that stands at a place that outlives it too.
  explicit JsonValue(const Json& document, std::string_view place = "") : json(document), name(place) {}

  /// Throws "POINTER: what".
  [[noreturn]] void fail(const std::string& what) const;
  /// The same for what a JSON pointer leads to from here, or where it ends when the document goes less far.
  [[noreturn]] void failAt(std::string_view pointer, const std::string& what) const;
  /// The value as a message shows it: JSON in one printable line.
  std::string shown() const;

  /// The JSON that it is.
  const Json& document() const { return json; }

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
  void allowOnly(std::initializer_list<const char*> fields) const;
  /// The name of the field of an object that has just one.
  std::optional<std::string_view> onlyField() const;
  JsonValue required(const char* field) const;
  std::optional<JsonValue> optional(const char* field) const;

 private:
  JsonValue(const Json& json, const JsonValue& parent, std::string_view field)
      : json(json), parent(&parent), name(field) {}
  JsonValue(const Json& json, const JsonValue& parent, std::size_t index)
      : json(json), parent(&parent), index(index) {}

  void allowOnly(const char* const* begin, const char* const* end) const;

  [[noreturn]] void failType(const char* expected) const;
  void expectObject() const;
  std::string pointer() const;

  const Json& json;
  const JsonValue* parent = nullptr;
  std::string_view name;             // within the parent; of the topmost its place
  std::optional<std::size_t> index;  // of an element
};

}  // namespace vantor::tables
