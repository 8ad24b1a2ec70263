#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& terrestrialVctKind();
const TableKind& cableVctKind();

}  // namespace vantor::tables
