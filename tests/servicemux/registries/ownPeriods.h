#pragma once

#include "servicemux/output/InsertionPeriods.h"

/// Insertion periods of which no two are alike, so that a test sees which of them was read.
inline vantor::InsertionPeriods ownPeriods() {
  vantor::InsertionPeriods periods;
  unsigned int period = 1001;
  for (unsigned int* setting : {&periods.pat,
                                &periods.pmt,
                                &periods.cat,
                                &periods.sdtActual,
                                &periods.sdtOther,
                                &periods.eitPresentFollowingActual,
                                &periods.eitPresentFollowingOther,
                                &periods.eitScheduleActual,
                                &periods.eitScheduleOther,
                                &periods.nit,
                                &periods.timeUpdater,
                                &periods.mgt,
                                &periods.vctTerrestrial,
                                &periods.vctCable,
                                &periods.rrt,
                                &periods.stt,
                                &periods.ecm,
                                &periods.emmSpreading,
                                &periods.fallback,
                                &periods.nullPackets})
    *setting = period++;
  return periods;
}
