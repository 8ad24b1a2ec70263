#pragma once

#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/review/Finding.h"
#include "servicemux/muxer/MuxerStatistics.h"
#include "servicemux/output/InsertionPeriods.h"
#include "servicemux/output/TableOnAir.h"

namespace vantor::tables {

/// What a table takes of the bitrate, in kbit/s: its packets once every period. 0 for what is sent once.
double kbpsOf(const TableOnAir& table);

/// What the tables of a PID take.
struct PidNeed {
  unsigned short pid;
  std::vector<TableOnAir> tables;
  double kbps;
};

/// What an output with these tables takes.
struct Needs {
  std::vector<PidNeed> pids;   ///< in their order
  double kbps = 0;             ///< all together
  MuxerStatistics statistics;  ///< of the library: what it would stretch
};

/// Puts the set on air of an output that leads nowhere, with the timing of the standards, and asks it. The set has
/// its PIDs and sizes settled. Throws InputError when the library refuses a table.
Needs needsOf(TableSet set, const InsertionPeriods& periods, unsigned int ceiling);

/// Tables whose sections, 25 ms apart as EN 300 468 clause 5.1.4.1 has it, take longer than their period.
std::vector<Finding> crowdedTablesIn(const Needs& needs);

}  // namespace vantor::tables
