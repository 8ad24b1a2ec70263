#include "programs/tables/sets/wholeSet.h"

#include <algorithm>

#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/kinds/eit.h"
#include "programs/tables/kinds/masterGuide.h"
#include "programs/tables/kinds/programPids.h"
#include "servicemux/output/periodFields.h"

namespace vantor::tables {

void merge(TableSet later, TableSet& set) {
  for (const TableKind* kind : allTableKinds()) kind->move(later, set);
  for (const auto& [name, period] : later.periods) set.periods[name] = period;
}

bool isEmpty(const TableSet& set) {
  const auto& kinds = allTableKinds();
  return std::none_of(kinds.begin(), kinds.end(), [&set](const TableKind* kind) { return kind->isIn(set); });
}

void settle(TableSet& set) {
  settlePids(set);
  settleMasterGuide(set);
}

InsertionPeriods periodsOf(const TableSet& set) {
  InsertionPeriods periods;
  for (const PeriodField& field : periodFields())
    if (const auto given = set.periods.find(field.name); given != set.periods.end())
      periods.*field.value = given->second;
  return periods;
}

std::vector<std::string> warningsOf(const TableSet& set, TimingProfile timing) {
  std::vector<std::string> all;
  if (timing == TimingProfile::Classic) all = namesakesOf(set);
  for (const TableKind* kind : allTableKinds())
    if (kind->isIn(set))
      for (const std::string& warning : kind->warnings(set)) all.push_back(warning);
  return all;
}

}  // namespace vantor::tables
