#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& mgtKind();

}  // namespace vantor::tables
