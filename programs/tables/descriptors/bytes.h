#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Numbers as sections and descriptors have them, the most significant byte first.

namespace vantor::tables {

inline std::uint8_t byteAt(std::string_view bytes, std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); }

inline std::uint16_t wordAt(std::string_view bytes, std::size_t i) {
  return static_cast<std::uint16_t>(byteAt(bytes, i) << 8 | byteAt(bytes, i + 1));
}

}  // namespace vantor::tables
