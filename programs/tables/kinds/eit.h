#pragma once

#include <string>
#include <vector>

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& eitPfKind();
const TableKind& eitScheduleKind();

/// The EITs of which an output sends only one that tells them apart by table_id and service_id alone, one line
/// each.
std::vector<std::string> namesakesOf(const TableSet& set);

}  // namespace vantor::tables
