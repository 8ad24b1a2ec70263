#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interface/psi/pids.h"
#include "interface/psi/tableTypes.h"
#include "programs/tables/kinds/TableSet.h"

/// The PIDs of PMTs, which a PMT itself does not tell.

namespace vantor::tables {

inline bool isProgramPid(std::int32_t pid) { return pid >= kFirstProgramPid && pid < kNullPid; }

[[nodiscard]] inline psi::TableKey tableKeyOf(const ProgramMap& map) {
  return {kPmtTableId, static_cast<std::uint16_t>(map.pmt.program_number), 0, 0};
}

/// What keeps the PMT from going on air where the set says, empty when nothing does. A PMT without a PID gets that
/// of the PAT.
[[nodiscard]] std::string settlePid(const TableSet& set, ProgramMap& map);

/// Settles all of them. Throws InputErrors when some cannot be.
void settlePids(TableSet& set);

}  // namespace vantor::tables
