#pragma once

#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/review/Finding.h"

/// What stands in a table set twice and must not.

namespace vantor::tables {

/// Programs, services, transport streams and events that a table lists twice, and tables that have fields of their
/// own and are among the whole sections as well.
std::vector<Finding> duplicatesIn(const TableSet& set);

/// PIDs that are reserved, or used for two things; also the network PID, when it is not that of the NIT.
std::vector<Finding> pidCollisionsIn(const TableSet& set);

}  // namespace vantor::tables
