#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& sdtActualKind();
const TableKind& sdtOtherKind();

}  // namespace vantor::tables
