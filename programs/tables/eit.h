#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& eitPfKind();
const TableKind& eitScheduleKind();

}  // namespace vantor::tables
