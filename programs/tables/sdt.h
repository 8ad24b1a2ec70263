#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& sdtActualKind();
const TableKind& sdtOtherKind();

}  // namespace vantor::tables
