#pragma once

#include <string>
#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "servicemux/muxer/TimingProfile.h"
#include "servicemux/output/InsertionPeriods.h"

/// What is done with a table set as a whole, before it goes on air.

namespace vantor::tables {

/// Puts what `later` has over what is there, table by table and period by period.
void merge(TableSet later, TableSet& set);

/// Whether there is no table in it.
bool isEmpty(const TableSet& set);

/// Gives PMTs their PIDs and the MGT its versions and sizes where the set leaves them to its other tables. Throws
/// InputError when these do not tell.
void settle(TableSet& set);

/// How often the set's tables are to be repeated: the periods that it has, and else the library's.
InsertionPeriods periodsOf(const TableSet& set);

/// What an output with this timing sends in another way than the set has it, one line each.
std::vector<std::string> warningsOf(const TableSet& set, TimingProfile timing);

}  // namespace vantor::tables
