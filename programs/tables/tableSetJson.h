#pragma once

#include <string>
#include <string_view>

#include "programs/tables/TableSet.h"

namespace vantor::tables {

/// Reads a JSON table set. Throws InputError for everything that it does not know exactly.
TableSet readTableSet(std::string_view text);

/// The table set as a JSON text that readTableSet() reads back to the same records.
std::string writeTableSet(const TableSet& set);

}  // namespace vantor::tables
