#pragma once

#include <optional>
#include <string>

#include "programs/tables/values/UtcTime.h"

/// The machine's tz database. Any thread may call these functions; a zone is read once in the life of the process.

namespace vantor::tables {

/// What a time zone has at some moment and after its next change, in minutes east of Greenwich.
struct ZoneOffsets {
  int current = 0;
  std::optional<UtcTime> change;  ///< none when no change is known
  int next = 0;                   ///< without a change the same as `current`
};

/// Returns nothing when the database has no zone of this name.
std::optional<ZoneOffsets> zoneOffsets(const std::string& zone, UtcTime now);

}  // namespace vantor::tables
