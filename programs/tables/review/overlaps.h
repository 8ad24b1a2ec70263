#pragma once

#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/review/Finding.h"

namespace vantor::tables {

/// Events of a service that begin before the one in front has ended. What has no time overlaps nothing.
std::vector<Finding> overlapsIn(const TableSet& set);

}  // namespace vantor::tables
