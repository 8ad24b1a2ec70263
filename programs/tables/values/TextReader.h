#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantor::tables {

/// Takes a text apart from its front. Once something does not fit, nothing does any more.
class TextReader {
 public:
  explicit TextReader(std::string_view text) : rest(text) {}

  /// Takes the literal if it is there.
  bool accept(std::string_view literal) {
    if (rest.substr(0, literal.size()) != literal) return false;
    rest.remove_prefix(literal.size());
    return true;
  }
  void expect(std::string_view literal) { good = accept(literal) && good; }

  /// A number of so many decimal digits that is at most `max`.
  std::int64_t number(std::size_t least, std::size_t most, std::int64_t max) {
    std::int64_t value = 0;
    std::size_t count = 0;
    for (; count < most && count < rest.size() && rest[count] >= '0' && rest[count] <= '9'; ++count)
      value = value * 10 + (rest[count] - '0');
    rest.remove_prefix(count);
    good = good && count >= least && value <= max;
    return value;
  }

  /// True when all of the text was taken.
  bool isRead() const { return good && rest.empty(); }

 private:
  std::string_view rest;
  bool good = true;
};

/// "0x" and exactly so many hex digits.
inline std::optional<std::int64_t> readHex(const std::string& text, std::size_t digits) {
  if (text.size() != 2 + digits || text.compare(0, 2, "0x") != 0 ||
      text.find_first_not_of("0123456789abcdefABCDEF", 2) != std::string::npos)
    return std::nullopt;
  return std::stoll(text, nullptr, 16);
}

}  // namespace vantor::tables
