#include "programs/tables/json/writeJson.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kLineWidth = 100;
constexpr std::size_t kIndent = 2;

/// The document on one line, with a blank behind each colon and comma.
std::string onOneLine(const OrderedJson& json) {
  if (!json.is_structured() || json.empty()) return json.dump();
  std::string out;
  for (const auto& [key, value] : json.items()) {
    out += out.empty() ? "" : ", ";
    if (json.is_object()) out += OrderedJson(key).dump() + ": ";
    out += onOneLine(value);
  }
  return json.is_object() ? "{" + out + "}" : "[" + out + "]";
}

void write(const OrderedJson& json, std::size_t column, std::size_t indent, std::string& out) {
  const std::string line = onOneLine(json);
  if (!json.is_structured() || json.empty() || (indent > 0 && column + line.size() <= kLineWidth)) {
    out += line;
    return;
  }
  const std::string margin(indent + kIndent, ' ');
  const char* separator = json.is_object() ? "{\n" : "[\n";
  for (const auto& [key, value] : json.items()) {
    const std::string name = json.is_object() ? OrderedJson(key).dump() + ": " : "";
    out += separator + margin + name;
    write(value, margin.size() + name.size(), indent + kIndent, out);
    separator = ",\n";
  }
  out += "\n" + std::string(indent, ' ') + (json.is_object() ? "}" : "]");
}

}  // namespace

std::string writeJson(const OrderedJson& document) {
  std::string out;
  write(document, 0, 0, out);
  return out + "\n";
}

std::string hexDigits(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const char c : bytes) {
    out += kDigits[static_cast<unsigned char>(c) >> 4];
    out += kDigits[static_cast<unsigned char>(c) & 0x0F];
  }
  return out;
}

}  // namespace vantor::tables
