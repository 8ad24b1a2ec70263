#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& conditionalAccessKind();

}  // namespace vantor::tables
