#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& nitKind();

}  // namespace vantor::tables
