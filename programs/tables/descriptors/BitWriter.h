#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::tables {

/// Puts a descriptor's payload together.
class BitWriter {
 public:
  /// The lowest bits of the value, the most significant one first; at most 32.
  BitWriter& bits(std::uint32_t value, unsigned count) {
    for (; count > 0; --count, ++position) {
      if (position % 8 == 0) payload += '\0';
      const std::uint32_t bit = value >> (count - 1) & 1U;
      payload.back() = static_cast<char>(static_cast<unsigned char>(payload.back()) | bit << (7 - position % 8));
    }
    return *this;
  }

  /// Bits that are reserved for future use are ones, ISO/IEC 13818-1 clause 2.1.
  BitWriter& reserved(unsigned count) { return bits(0xFFFFFFFF, count); }

  /// Whole bytes; the position must be at one.
  BitWriter& bytes(std::string_view whole) {
    payload += whole;
    position += whole.size() * 8;
    return *this;
  }

  /// Bytes, at most 255, behind a length of 8 bits.
  BitWriter& counted(std::string_view whole) {
    return bits(static_cast<std::uint32_t>(whole.size()), 8).bytes(whole);
  }

  const std::string& written() const { return payload; }

 private:
  std::string payload;
  std::size_t position = 0;  // in bits
};

}  // namespace vantor::tables
