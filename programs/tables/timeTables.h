#pragma once

#include "programs/tables/TableKind.h"

namespace vantor::tables {

const TableKind& timeKind();

}  // namespace vantor::tables
