#pragma once

namespace vantor {

/// How often each kind of table is repeated, in ms. The SDT and EIT values must stay below 65536.
struct InsertionPeriods {
  unsigned int pat = 200;
  unsigned int pmt = 200;
  unsigned int cat = 200;
  unsigned int sdtActual = 500;
  unsigned int sdtOther = 10000;
  unsigned int eitPresentFollowingActual = 2000;
  unsigned int eitPresentFollowingOther = 10000;
  unsigned int eitScheduleActual = 30000;
  unsigned int eitScheduleOther = 60000;
  unsigned int nit = 500;
  unsigned int timeUpdater = 1000;
  unsigned int mgt = 150;
  unsigned int vctTerrestrial = 400;
  unsigned int vctCable = 400;
  unsigned int rrt = 60000;
  unsigned int stt = 1000;
  unsigned int ecm = 100;
  unsigned int emmSpreading = 500;  ///< the time in which one set of EMMs leaves
  unsigned int fallback = 10000;    ///< for a table id that a registry does not know
  unsigned int nullPackets = 10;
};

}  // namespace vantor
