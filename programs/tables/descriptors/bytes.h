#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "interface/psi/pids.h"

/// Numbers as sections and descriptors have them, the most significant byte first.

namespace vantor::tables {

inline std::uint8_t byteAt(std::string_view bytes, std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); }

inline std::uint16_t wordAt(std::string_view bytes, std::size_t i) {
  return static_cast<std::uint16_t>(byteAt(bytes, i) << 8 | byteAt(bytes, i + 1));
}

/// The lower 13 bits of two bytes.
inline std::uint16_t pidAt(std::string_view bytes, std::size_t i) { return wordAt(bytes, i) & kMaxPid; }

}  // namespace vantor::tables
