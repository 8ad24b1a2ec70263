#pragma once

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/kinds/TableSet.h"

namespace vantor::tables {

/// Reads the periods of a table set. Throws InputError for one that the library does not know or could not hold.
void readPeriods(const JsonValue& value, TableSet& set);

/// What readPeriods() reads.
OrderedJson writePeriods(const TableSet& set);

}  // namespace vantor::tables
