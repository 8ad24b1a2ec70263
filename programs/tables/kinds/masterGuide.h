#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "programs/tables/kinds/TableSet.h"

/// What an MGT says of the tables that go with it.

namespace vantor::tables {

/// As table_type_version_number or number_bytes of an MGT: whatever the table has that is in the set.
constexpr std::int16_t kOfTheSet = -1;

/// Puts the versions and sizes of the set's tables where the MGT leaves them to it. A version that is counted on
/// air is left until it is known. Throws InputError, with the way to the entry, when the set has no such table.
void settleMasterGuide(TableSet& set);

/// Where the MGT says something else of a table than the set has, one line each.
std::vector<std::string> masterGuideWarnings(const TableSet& set);

}  // namespace vantor::tables
