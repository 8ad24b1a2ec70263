#include "programs/tables/json/JsonValue.h"

#include <algorithm>
#include <cstdio>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/pointer.h"

namespace vantor::tables {

namespace {

std::string describe(const Json& json) {
  if (json.is_object()) return "an object";
  if (json.is_array()) return "an array";
  return printable(json.dump(-1, ' ', true, Json::error_handler_t::replace));
}

/// Limits are sizes of fields more often than not, and those read best in hex.
std::string limit(std::int64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, value > 9 ? "0x%llX" : "%lld", static_cast<long long>(value));
  return text;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// What one step of a JSON pointer leads to; null when there is nothing. No name that is looked for needs escapes.
const Json* childAt(const Json& json, const std::string& step) {
  if (json.is_object()) {
    const auto field = json.find(step);
    return field == json.end() ? nullptr : &*field;
  }
  const bool isIndex = !step.empty() && step.find_first_not_of("0123456789") == std::string::npos;
  if (!json.is_array() || !isIndex || step.size() > std::to_string(json.size()).size()) return nullptr;
  const std::size_t index = std::stoul(step);
  return index < json.size() ? &json[index] : nullptr;
}

}  // namespace

void JsonValue::fail(const std::string& what) const { throw InputError(atPointer(pointer(), what)); }

void JsonValue::failAt(std::string_view pointer, const std::string& what) const {
  if (pointer.empty()) fail(what);
  const std::size_t end = std::min(pointer.find('/', 1), pointer.size());
  const std::string step(pointer.substr(1, end - 1));
  const Json* const child = childAt(json, step);
  if (child == nullptr) fail(what);
  JsonValue(*child, *this, step).failAt(pointer.substr(end), what);
}

std::string JsonValue::shown() const { return describe(json); }

void JsonValue::failType(const char* expected) const { fail(shown() + " is not " + expected); }

std::string JsonValue::pointer() const {
  if (parent == nullptr) return std::string(name);
  std::string out = parent->pointer();
  appendStep(out, index ? std::to_string(*index) : std::string(name));
  return out;
}

std::int64_t JsonValue::integer(std::int64_t min, std::int64_t max) const {
  if (!json.is_number_integer()) failType("an integer");
  // Beyond 63 bits a number is kept as unsigned.
  if (json.is_number_unsigned() && json.get<std::uint64_t>() > static_cast<std::uint64_t>(max))
    fail(shown() + " is above " + limit(max));
  const auto value = json.get<std::int64_t>();
  if (value > max) fail(shown() + " is above " + limit(max));
  if (value < min) fail(shown() + " is below " + limit(min));
  return value;
}

bool JsonValue::boolean() const {
  if (!json.is_boolean()) failType("true or false");
  return json.get<bool>();
}

const std::string& JsonValue::string() const {
  if (!json.is_string()) failType("a string");
  return json.get_ref<const std::string&>();
}

std::string JsonValue::hexBytes(std::size_t max) const {
  const std::string& digits = string();
  for (const char c : digits)
    if (hexDigit(c) < 0) failType("a string of hex digits");
  if (digits.size() % 2 != 0) fail(std::to_string(digits.size()) + " hex digits do not make whole bytes");
  if (digits.size() / 2 > max)
    fail(std::to_string(digits.size() / 2) + " bytes are more than " + std::to_string(max));
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  for (std::size_t i = 0; i < digits.size(); i += 2)
    bytes += static_cast<char>(hexDigit(digits[i]) * 16 + hexDigit(digits[i + 1]));
  return bytes;
}

std::size_t JsonValue::size() const {
  if (!json.is_array()) failType("an array");
  return json.size();
}

JsonValue JsonValue::at(std::size_t index) const { return {json[index], *this, index}; }

void JsonValue::expectObject() const {
  if (!json.is_object()) failType("an object");
}

void JsonValue::allowOnly(const std::vector<const char*>& fields) const {
  allowOnly(fields.data(), fields.data() + fields.size());
}

void JsonValue::allowOnly(std::initializer_list<const char*> fields) const {
  allowOnly(fields.begin(), fields.end());
}

void JsonValue::allowOnly(const char* const* begin, const char* const* end) const {
  expectObject();
  for (const auto& [field, value] : json.get_ref<const Json::object_t&>())
    if (std::find(begin, end, field) == end) JsonValue(value, *this, field).fail("unknown field");
}

std::optional<std::string_view> JsonValue::onlyField() const {
  expectObject();
  if (json.size() != 1) return std::nullopt;
  return json.get_ref<const Json::object_t&>().begin()->first;
}

JsonValue JsonValue::required(const char* field) const {
  const auto found = optional(field);
  if (!found) JsonValue(json, *this, field).fail("missing field");
  return *found;
}

std::optional<JsonValue> JsonValue::optional(const char* field) const {
  expectObject();
  const auto found = json.find(field);
  if (found == json.end()) return std::nullopt;
  return JsonValue(*found, *this, field);
}

}  // namespace vantor::tables
