#pragma once

#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/review/Finding.h"

namespace vantor::tables {

/// Where tables of a set do not fit together: services and programs that only one of PAT, PMT, SDT and EIT knows,
/// and identifiers of the stream that they do not agree on. What the set has no table of is not missed: another
/// output may send it.
std::vector<Finding> brokenReferencesIn(const TableSet& set);

}  // namespace vantor::tables
