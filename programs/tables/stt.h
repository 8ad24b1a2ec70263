#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& sttKind();

}  // namespace vantor::tables
