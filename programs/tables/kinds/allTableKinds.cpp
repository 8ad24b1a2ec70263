#include "programs/tables/kinds/allTableKinds.h"

#include "programs/tables/kinds/cat.h"
#include "programs/tables/kinds/conditionalAccess.h"
#include "programs/tables/kinds/eit.h"
#include "programs/tables/kinds/mgt.h"
#include "programs/tables/kinds/nit.h"
#include "programs/tables/kinds/pat.h"
#include "programs/tables/kinds/pmt.h"
#include "programs/tables/kinds/sdt.h"
#include "programs/tables/kinds/sections.h"
#include "programs/tables/kinds/stt.h"
#include "programs/tables/kinds/timeTables.h"
#include "programs/tables/kinds/vct.h"

namespace vantor::tables {

const std::vector<const TableKind*>& allTableKinds() {
  // Schedules before present/following: their carousel takes its first steps at the pace of the table that comes
  // first, so that has to be one of many packets. What shares a PID comes behind those that it shares it with: with
  // the classic timing these have it.
  static const std::vector<const TableKind*> kinds{
      &patKind(),
      &catKind(),
      &nitKind(),
      &nitOtherKind(),
      &pmtKind(),
      &sdtActualKind(),
      &sdtOtherKind(),
      &batKind(),
      &eitScheduleKind(),
      &eitPfKind(),
      &timeKind(),
      &mgtKind(),
      &terrestrialVctKind(),
      &cableVctKind(),
      &sttKind(),
      &conditionalAccessKind(),
      &sectionsKind(),
  };
  return kinds;
}

}  // namespace vantor::tables
