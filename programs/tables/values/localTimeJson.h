#pragma once

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/values/LocalTime.h"

/// The fields of a local time in JSON: `time_zone`, or `local_time_offset` and, where a change is known,
/// `time_of_change` and `next_time_offset`.

namespace vantor::tables {

/// The object's other fields are the caller's, who says which of them there may be. Times relative to the present
/// count from `now`. Throws InputError, also for a time zone that this machine does not know.
LocalTime readLocalTime(const JsonValue& value, std::vector<const char*> otherFields, UtcTime now);

void writeLocalTime(const LocalTime& local, OrderedJson& json);

}  // namespace vantor::tables
