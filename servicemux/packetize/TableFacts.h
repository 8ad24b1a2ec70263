#pragma once

#include <string>

#include "interface/psi/tableTypes.h"
#include "servicemux/export.h"

namespace vantor {

/// What the packets of one table tell of it.
struct TableFacts {
  bool hasSection = false;  ///< false for packets without a section, and for no packets
  psi::TableKey key;        ///< all zero without a section
  int version = -1;         ///< version_number, -1 for a table that has none
  unsigned int sections = 0;
  unsigned int bytes = 0;  ///< of the sections
  unsigned int packets = 0;
};

/// Reads the sections in a string of whole packets of one PID, each section beginning behind a pointer_field of 0
/// or another section. For displays: it takes time in proportion to the packets.
[[nodiscard]] SERVICEMUX_API TableFacts factsOf(const std::string& packets);

}  // namespace vantor
