#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& pmtKind();

}  // namespace vantor::tables
