#pragma once

#include <cstdint>
#include <tuple>

namespace vantor::tables {

/// What tells the sections of one subtable from those of another.
struct SubtableKey {
  std::uint8_t tableId = 0;
  std::uint16_t extension = 0;
  std::int64_t scope = 0;  ///< where the table needs more to be told by: a PID or identifiers from its payload

  friend bool operator<(const SubtableKey& a, const SubtableKey& b) {
    return std::tie(a.tableId, a.extension, a.scope) < std::tie(b.tableId, b.extension, b.scope);
  }
};

}  // namespace vantor::tables
