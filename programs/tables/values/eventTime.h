#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/values/UtcTime.h"

/// Times of events: as the wire has them (EN 300 468 clause 5.2.4, annex C) and as people write them. A value that
/// is no time is written in hex, so that nothing is lost.

namespace vantor::tables {

/// "2026-11-21T12:00:00Z", "undefined" (all bits set), "0x" and 10 hex digits; of times relative to `now` also
/// "now+00:30", "now-00:10", "today+26:00". `now` counts in whole minutes, `today` is the 00:00 UTC before it.
std::int64_t readStartTime(const JsonValue& value, UtcTime now);
std::string startTimeText(std::int64_t startTime);

/// In whole seconds; none for a time that the wire has no room for, from 2038-04-23.
std::optional<std::int64_t> startTimeOf(UtcTime time);

/// "01:30:00", up to 99 hours, "undefined", or "0x" and 6 hex digits.
std::int32_t readDuration(const JsonValue& value);
std::string durationText(std::int32_t duration);

/// When an event ends; none when its time or duration is no time, or the end is beyond what the wire has room for.
std::optional<std::int64_t> endOf(std::int64_t startTime, std::int32_t duration);

/// A day like "2026-11-21", or "today", as MJD.
std::int32_t readDay(const JsonValue& value, UtcTime now);
std::string dayText(std::int32_t mjd);

/// The MJD of a start_time.
inline std::int32_t dayOf(std::int64_t startTime) { return static_cast<std::int32_t>(startTime >> 24); }

}  // namespace vantor::tables
