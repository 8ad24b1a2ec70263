#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& nitKind();
const TableKind& nitOtherKind();
const TableKind& batKind();

}  // namespace vantor::tables
