#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& catKind();

}  // namespace vantor::tables
