#include "programs/tables/json/JsonValue.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <vector>

#include "programs/tables/json/InputError.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kDeepest = 32;  // levels; a table set needs fewer than ten

/// Appends one step to a JSON pointer.
void appendStep(std::string& pointer, const std::string& name) {
  pointer += '/';
  for (const char c : name) {
    if (c == '~')
      pointer += "~0";
    else if (c == '/')
      pointer += "~1";
    else
      pointer += c;
  }
}

std::string atPointer(const std::string& pointer, const std::string& what) {
  return pointer.empty() ? what : printable(pointer) + ": " + what;
}

/// Goes along with the parser, knows where it is and stops it at what it would let through.
class ParseWatch {
 public:
  void operator()(Json::parse_event_t event, const Json& parsed) {
    switch (event) {
      case Json::parse_event_t::object_start:
      case Json::parse_event_t::array_start:
        beginElement();
        open.emplace_back();
        if (open.size() > kDeepest) throw InputError(atPointer(pointer(), "nested too deep"));
        open.back().isArray = event == Json::parse_event_t::array_start;
        break;
      case Json::parse_event_t::object_end:
      case Json::parse_event_t::array_end:
        open.pop_back();
        break;
      case Json::parse_event_t::key:
        open.back().name = parsed.get<std::string>();
        if (!open.back().names.insert(open.back().name).second)
          throw InputError(atPointer(pointer(), "given twice"));
        break;
      case Json::parse_event_t::value:
        beginElement();
        break;
    }
  }

  std::string pointer() const {
    std::string out;
    for (const auto& level : open) {
      if (level.isArray && level.count > 0)
        appendStep(out, std::to_string(level.count - 1));
      else if (!level.isArray && !level.name.empty())
        appendStep(out, level.name);
    }
    return out;
  }

 private:
  struct Level {
    bool isArray = false;
    std::size_t count = 0;        // elements of an array so far
    std::string name;             // the latest field of an object
    std::set<std::string> names;  // all of them
  };

  void beginElement() {
    if (!open.empty() && open.back().isArray) ++open.back().count;
  }

  std::vector<Level> open;
};

/// "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error ..." from "line" on.
std::string withoutPreamble(std::string what) {
  for (const std::string preamble : {"] ", "parse error at "})
    if (const auto at = what.find(preamble); at != std::string::npos) what.erase(0, at + preamble.size());
  return printable(what, true);
}

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

/// The parser takes a NUL for the end of the text and would not look at what follows. No JSON text holds one.
void refuseNul(std::string_view text) {
  const std::size_t at = text.find('\0');
  if (at == std::string_view::npos) return;
  const std::string_view before = text.substr(0, at);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t column = at - (before.rfind('\n') + 1) + 1;
  throw InputError("line " + std::to_string(line) + ", column " + std::to_string(column) + ": a NUL character");
}

}  // namespace

Json parseJson(std::string_view text) {
  refuseNul(text);
  ParseWatch watch;
  try {
    return Json::parse(text.begin(), text.end(), [&watch](int, Json::parse_event_t event, const Json& parsed) {
      watch(event, parsed);
      return true;
    });
  } catch (const Json::parse_error& error) {
    throw InputError(withoutPreamble(error.what()));
  } catch (const Json::out_of_range& error) {
    throw InputError(atPointer(watch.pointer(), withoutPreamble(error.what())));
  }
}

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
  if (parent == nullptr) return "";
  std::string out = parent->pointer();
  appendStep(out, name);
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

JsonValue JsonValue::at(std::size_t index) const { return {json[index], *this, std::to_string(index)}; }

void JsonValue::expectObject() const {
  if (!json.is_object()) failType("an object");
}

void JsonValue::allowOnly(const std::vector<const char*>& fields) const {
  expectObject();
  for (const auto& [field, value] : json.items())
    if (std::find(fields.begin(), fields.end(), field) == fields.end())
      JsonValue(value, *this, field).fail("unknown field");
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
