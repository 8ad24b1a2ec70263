#pragma once

#include <vector>

#include "programs/tables/LocalTime.h"

namespace vantor::tables {

/// TDT and TOT, which are sent with the current time. Without local times there is no TOT.
struct TimeTables {
  std::vector<LocalTime> localTimes;

  friend bool operator==(const TimeTables& a, const TimeTables& b) { return a.localTimes == b.localTimes; }
};

}  // namespace vantor::tables
