#pragma once

#include <string>
#include <vector>

#include "programs/tables/kinds/TableSet.h"

/// What is done with a table set as a whole, before it goes on air.

namespace vantor::tables {

/// Puts what `later` has over what is there.
void merge(TableSet later, TableSet& set);

bool isEmpty(const TableSet& set);

/// Gives PMTs their PIDs and the MGT its versions and sizes where the set leaves them to its other tables. Throws
/// InputError when these do not tell.
void settle(TableSet& set);

/// What is sent in another way than the set has it, one line each.
std::vector<std::string> warningsOf(const TableSet& set);

}  // namespace vantor::tables
