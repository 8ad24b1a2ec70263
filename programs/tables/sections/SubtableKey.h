#pragma once

#include <tuple>

#include "interface/psi/tableTypes.h"

namespace vantor::tables {

/// What tells the sections of one subtable from those of another.
struct SubtableKey {
  psi::TableKey table;
  int pid = 0;  ///< of tables that a capture may have on several PIDs

  friend bool operator<(const SubtableKey& a, const SubtableKey& b) {
    const auto ranks = [](const SubtableKey& key) {
      const psi::TableKey& table = key.table;
      return std::tie(table.table_id, table.extension, table.original_network_id, table.transport_stream_id,
                      key.pid);
    };
    return ranks(a) < ranks(b);
  }
};

}  // namespace vantor::tables
