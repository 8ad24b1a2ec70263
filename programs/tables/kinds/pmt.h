#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& pmtKind();

}  // namespace vantor::tables
