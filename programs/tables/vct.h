#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& terrestrialVctKind();
const TableKind& cableVctKind();

}  // namespace vantor::tables
