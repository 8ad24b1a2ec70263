#include "programs/tables/json/InputError.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kLongest = 200;  // bytes

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

void InputErrors::add(const InputError& error) {
  for (const std::string& line : linesOf(error)) texts.push_back(line);
}

std::vector<std::string> linesOf(const InputError& error) {
  const auto* const several = dynamic_cast<const InputErrors*>(&error);
  return several != nullptr ? several->all() : std::vector<std::string>{error.what()};
}

std::string printable(const std::string& text, bool ascii) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    if (out.size() >= kLongest && !isContinuation(c)) return out + "...";
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F || (ascii && byte >= 0x80)) {
      out += "\\x";
      out += kDigits[byte >> 4];
      out += kDigits[byte & 0x0F];
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace vantor::tables
