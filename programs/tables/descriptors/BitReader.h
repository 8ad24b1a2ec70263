#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vantor::tables {

/// Takes a descriptor's payload apart. What goes beyond the end makes the whole reading void: it gives zeros, puts
/// the reader at the end, so that loops end, and shows in isGood() once all is read.
class BitReader {
 public:
  explicit BitReader(std::string_view payload) : payload(payload) {}

  /// The next bits, the first one the most significant; at most 32.
  std::uint32_t bits(unsigned count) {
    if (count > payload.size() * 8 - position) {
      fail();
      return 0;
    }
    std::uint32_t value = 0;
    for (; count > 0; --count, ++position) {
      const auto byte = static_cast<unsigned char>(payload[position / 8]);
      value = value << 1 | (byte >> (7 - position % 8) & 1U);
    }
    return value;
  }

  bool flag() { return bits(1) != 0; }

  /// The next whole bytes; the position must be at one.
  std::string_view bytes(std::size_t count) {
    if (count > left()) {
      fail();
      return {};
    }
    const std::string_view found = payload.substr(position / 8, count);
    position += count * 8;
    return found;
  }

  std::string_view rest() { return bytes(left()); }

  /// Bytes behind a length of 8 bits.
  std::string_view counted() { return bytes(bits(8)); }

  bool atEnd() const { return position == payload.size() * 8; }
  bool isGood() const { return good; }

  /// For what is there and yet cannot be.
  void fail() {
    good = false;
    position = payload.size() * 8;
  }

 private:
  std::size_t left() const { return payload.size() - position / 8; }

  std::string_view payload;
  std::size_t position = 0;  // in bits
  bool good = true;
};

}  // namespace vantor::tables
