#pragma once

#include "interface/psi/tableTypes.h"

namespace vantor {

/// How often each kind of table is repeated, in ms. The SDT and EIT values must stay below 65536.
struct InsertionPeriods {
  unsigned int pat = psi::kPat.period;
  unsigned int pmt = psi::kPmt.period;
  unsigned int cat = psi::kCat.period;
  unsigned int sdtActual = psi::kSdtActual.period;
  unsigned int sdtOther = psi::kSdtOther.period;
  unsigned int eitPresentFollowingActual = psi::kEitPfActual.period;
  unsigned int eitPresentFollowingOther = psi::kEitPfOther.period;
  unsigned int eitScheduleActual = psi::kEitScheduleActual.period;
  unsigned int eitScheduleOther = psi::kEitScheduleOther.period;
  unsigned int nit = psi::kNitActual.period;
  unsigned int timeUpdater = psi::kTdt.period;  ///< of TDT and TOT
  unsigned int mgt = psi::kMgt.period;
  unsigned int vctTerrestrial = psi::kTerrestrialVct.period;
  unsigned int vctCable = psi::kCableVct.period;
  unsigned int rrt = psi::kRrt.period;
  unsigned int stt = psi::kStt.period;
  unsigned int ecm = psi::kEcm.period;
  unsigned int emmSpreading = 500;  ///< the time in which one set of EMMs leaves
  unsigned int fallback = 10000;    ///< for a table id that a registry does not know
  unsigned int nullPackets = 10;
};

}  // namespace vantor
