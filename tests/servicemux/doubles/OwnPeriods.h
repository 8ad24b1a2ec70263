#pragma once

/// While it lives, a multiplex that is made has insertion periods of which no two are alike: those of ownPeriods().
class OwnPeriods {
 public:
  OwnPeriods();
  OwnPeriods(const OwnPeriods&) = delete;
  OwnPeriods& operator=(const OwnPeriods&) = delete;
  ~OwnPeriods();
};
