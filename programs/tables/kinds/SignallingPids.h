#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// The PIDs of a transport stream on which sections are to be found: those that the standards reserve for them, and
/// those that tables point at.
class SignallingPids {
 public:
  static const std::vector<std::uint16_t>& reserved();

  /// What a section found on `pid` points at; PAT sections come before those of the PMTs. A pointer counts only in
  /// a table on the table's own PID, so that the chain comes to an end. A section whose lengths are wrong points at
  /// nothing beyond the fault.
  std::vector<std::uint16_t> namedBy(std::uint16_t pid, const Section& section);

 private:
  std::set<std::uint16_t> pmtPids;
};

}  // namespace vantor::tables
