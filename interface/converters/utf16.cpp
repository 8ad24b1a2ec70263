#include "interface/converters/utf16.h"

namespace vantor::thrift::dvb_tables {

namespace {

constexpr char32_t kFirstSurrogate = 0xD800;
constexpr char32_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kLastSurrogate = 0xDFFF;
constexpr char32_t kFirstOfTwoUnits = 0x10000;
constexpr char32_t kLastCodePoint = 0x10FFFF;

/// The lowest code point that needs a sequence of so many bytes, and how such a sequence begins.
struct Lead {
  char32_t lowest;
  unsigned char mask;
  unsigned char bits;
  unsigned char size;
};
constexpr Lead kLeads[] = {
    {0, 0x80, 0x00, 1}, {0x80, 0xE0, 0xC0, 2}, {0x800, 0xF0, 0xE0, 3}, {0x10000, 0xF8, 0xF0, 4}};

/// The code point at `at`, which moves on behind it.
std::optional<char32_t> takeCodePoint(const std::string& utf8, std::size_t& at) {
  const auto first = static_cast<unsigned char>(utf8[at]);
  for (const Lead& lead : kLeads) {
    if ((first & lead.mask) != lead.bits) continue;
    if (utf8.size() - at < lead.size) return std::nullopt;
    char32_t point = static_cast<unsigned char>(first & ~lead.mask);
    for (std::size_t i = 1; i < lead.size; ++i) {
      const auto next = static_cast<unsigned char>(utf8[at + i]);
      if ((next & 0xC0) != 0x80) return std::nullopt;
      point = point << 6 | (next & 0x3FU);
    }
    const bool isSurrogate = point >= kFirstSurrogate && point <= kLastSurrogate;
    if (point < lead.lowest || point > kLastCodePoint || isSurrogate) return std::nullopt;
    at += lead.size;
    return point;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::u16string> utf16Of(const std::string& utf8) {
  std::u16string units;
  for (std::size_t at = 0; at < utf8.size();) {
    const auto point = takeCodePoint(utf8, at);
    if (!point) return std::nullopt;
    if (*point < kFirstOfTwoUnits) {
      units += static_cast<char16_t>(*point);
    } else {
      const char32_t rest = *point - kFirstOfTwoUnits;
      units += static_cast<char16_t>(kFirstSurrogate + (rest >> 10));
      units += static_cast<char16_t>(kFirstLowSurrogate + (rest & 0x3FF));
    }
  }
  return units;
}

}  // namespace vantor::thrift::dvb_tables
