#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& conditionalAccessKind();

}  // namespace vantor::tables
