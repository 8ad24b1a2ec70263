#include "programs/tables/TableKind.h"

namespace vantor::tables {

const std::vector<const TableKind*>& allTableKinds() {
  static const std::vector<const TableKind*> kinds{
      &patKind(),
      &catKind(),
      &nitKind(),
  };
  return kinds;
}

}  // namespace vantor::tables
