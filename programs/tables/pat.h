#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& patKind();

}  // namespace vantor::tables
