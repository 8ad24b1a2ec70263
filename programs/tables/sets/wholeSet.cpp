#include "programs/tables/sets/wholeSet.h"

#include <algorithm>

#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/kinds/masterGuide.h"
#include "programs/tables/kinds/programPids.h"

namespace vantor::tables {

void merge(TableSet later, TableSet& set) {
  for (const TableKind* kind : allTableKinds()) kind->move(later, set);
}

bool isEmpty(const TableSet& set) {
  const auto& kinds = allTableKinds();
  return std::none_of(kinds.begin(), kinds.end(), [&set](const TableKind* kind) { return kind->isIn(set); });
}

void settle(TableSet& set) {
  settlePids(set);
  settleMasterGuide(set);
}

std::vector<std::string> warningsOf(const TableSet& set) {
  std::vector<std::string> all;
  for (const TableKind* kind : allTableKinds())
    if (kind->isIn(set))
      for (const std::string& warning : kind->warnings(set)) all.push_back(warning);
  return all;
}

}  // namespace vantor::tables
