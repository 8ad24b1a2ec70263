#include "programs/tables/values/LocalTime.h"

#include <cstdlib>

#include "programs/tables/json/InputError.h"
#include "programs/tables/values/eventTime.h"
#include "programs/tables/values/timeZone.h"

namespace vantor::tables {

namespace {

/// The table has one sign for both offsets, and so no form for such a change.
bool isAcrossGreenwich(const ZoneOffsets& offsets) {
  return (offsets.current < 0 && offsets.next > 0) || (offsets.current > 0 && offsets.next < 0);
}

}  // namespace

std::int16_t offsetCode(int minutes) {
  const int hours = minutes / 60;
  const int rest = minutes % 60;
  return static_cast<std::int16_t>(hours / 10 << 12 | hours % 10 << 8 | rest / 10 << 4 | rest % 10);
}

thrift::dvb_tables::LocalTimeOffset recordAt(const LocalTime& local, UtcTime now) {
  if (local.timeZone.empty()) return local.record;
  auto offsets = zoneOffsets(local.timeZone, now);
  if (!offsets) throw InputError("the tz database of this machine has no time zone " + printable(local.timeZone));
  if (isAcrossGreenwich(*offsets)) {
    offsets->change.reset();
    offsets->next = offsets->current;
  }
  thrift::dvb_tables::LocalTimeOffset record = local.record;
  record.local_time_offset_polarity = offsets->current < 0 || offsets->next < 0 ? 1 : 0;
  record.local_time_offset = offsetCode(std::abs(offsets->current));
  record.next_time_offset = offsetCode(std::abs(offsets->next));
  record.time_of_change = offsets->change ? startTimeOf(*offsets->change).value_or(0) : 0;
  return record;
}

}  // namespace vantor::tables
