#pragma once

#include <optional>
#include <string>
#include <vector>

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/kinds/TableSet.h"

namespace vantor::tables {

/// What one table set has otherwise than another one.
struct Difference {
  std::string table;  ///< "PMT 101", "periods"
  std::string field;  ///< the way from the table on, of the former set where it has it; empty for the table
  std::optional<Json> before;  ///< none for what has been added
  std::optional<Json> after;   ///< none for what has been removed
};

/// Compares two table sets as JSON has them, table by table and field by field. Elements of an array are the same
/// that have the same identifiers, wherever they stand; of those without a counterpart two at one place are one
/// that has changed.
std::vector<Difference> differencesOf(const TableSet& before, const TableSet& after);

}  // namespace vantor::tables
