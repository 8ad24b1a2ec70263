#pragma once

#include "interface/records.h"
#include "servicemux/export.h"

namespace vantor {

/// The daylight_savings field of an ATSC system time table, ATSC A/65 annex A: DS_status in bit 15, then
/// DS_day_of_month in bits 12 to 8 and DS_hour in bits 7 to 0, both 0 unless the change is less than a month ahead.
/// `now` is a POSIX time. 0 when the record knows no time of change. Any thread.
SERVICEMUX_API unsigned short getDSTParams(const vantor::thrift::dvb_tables::LocalTimeOffset& lto, const long& now);

}  // namespace vantor
