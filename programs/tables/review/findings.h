#pragma once

#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/review/Finding.h"
#include "servicemux/muxer/TimingProfile.h"

namespace vantor::tables {

/// All that is to be said of a table set whose PIDs and sizes are settled, for an output with this timing: what is
/// sent in another way than the set has it, versions that no section can carry, and where its tables collide or do
/// not fit together.
std::vector<Finding> findingsIn(const TableSet& set, TimingProfile timing);

}  // namespace vantor::tables
