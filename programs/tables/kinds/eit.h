#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& eitPfKind();
const TableKind& eitScheduleKind();

}  // namespace vantor::tables
