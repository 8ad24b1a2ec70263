#pragma once

#include <string>

#include "interface/records.h"
#include "programs/tables/values/UtcTime.h"

namespace vantor::tables {

/// The local time of a region: as it was given, or as a time zone has it at the moment of sending.
struct LocalTime {
  thrift::dvb_tables::LocalTimeOffset record;  ///< with a time zone, only the region counts
  std::string timeZone;                        ///< its name in the tz database; empty for what was given

  friend bool operator==(const LocalTime& a, const LocalTime& b) {
    return a.record == b.record && a.timeZone == b.timeZone;
  }
};

/// An offset of the table, hhmm in BCD. `minutes` is below 100 hours.
std::int16_t offsetCode(int minutes);

/// Throws InputError when there is no such time zone, which cannot be once it was found.
thrift::dvb_tables::LocalTimeOffset recordAt(const LocalTime& local, UtcTime now);

}  // namespace vantor::tables
