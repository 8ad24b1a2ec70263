#pragma once

#include <vector>

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

/// Every kind that this system knows, in the order in which table sets list them. A further one is a line here.
const std::vector<const TableKind*>& allTableKinds();

}  // namespace vantor::tables
