#include "programs/tables/allTableKinds.h"

#include "programs/tables/cat.h"
#include "programs/tables/conditionalAccess.h"
#include "programs/tables/eit.h"
#include "programs/tables/mgt.h"
#include "programs/tables/nit.h"
#include "programs/tables/pat.h"
#include "programs/tables/pmt.h"
#include "programs/tables/sdt.h"
#include "programs/tables/stt.h"
#include "programs/tables/timeTables.h"
#include "programs/tables/vct.h"

namespace vantor::tables {

const std::vector<const TableKind*>& allTableKinds() {
  // Schedules before present/following: their carousel takes its first steps at the pace of the table that comes
  // first, so that has to be one of many packets.
  static const std::vector<const TableKind*> kinds{
      &patKind(),
      &catKind(),
      &nitKind(),
      &pmtKind(),
      &sdtActualKind(),
      &sdtOtherKind(),
      &eitScheduleKind(),
      &eitPfKind(),
      &timeKind(),
      &mgtKind(),
      &terrestrialVctKind(),
      &cableVctKind(),
      &sttKind(),
      &conditionalAccessKind(),
  };
  return kinds;
}

}  // namespace vantor::tables
