#include "programs/tables/values/timeZone.h"

#include <absl/time/time.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace vantor::tables {

namespace {

int minutesEast(const absl::TimeZone& zone, absl::Time time) { return zone.At(time).offset / 60; }

/// Letters and digits with "_", "+", "-" and "/" between them. The loader would take others for the paths of files.
bool isZoneName(const std::string& name) {
  return !name.empty() && name.front() != '/' && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || std::strchr("_+-/", c) != nullptr;
  });
}

/// The next transition that moves the clock; others only rename the time.
std::optional<absl::Time> nextChange(const absl::TimeZone& zone, absl::Time time) {
  const int current = minutesEast(zone, time);
  absl::TimeZone::CivilTransition transition;
  while (zone.NextTransition(time, &transition)) {
    time = zone.At(transition.to).trans;
    if (minutesEast(zone, time) != current) return time;
  }
  return std::nullopt;
}

}  // namespace

std::optional<ZoneOffsets> zoneOffsets(const std::string& zone, UtcTime now) {
  absl::TimeZone found;
  if (!isZoneName(zone) || !absl::LoadTimeZone(zone, &found)) return std::nullopt;
  const absl::Time time = absl::FromChrono(now);
  ZoneOffsets offsets;
  offsets.current = offsets.next = minutesEast(found, time);
  if (const auto change = nextChange(found, time)) {
    offsets.change = absl::ToChronoTime(*change);
    offsets.next = minutesEast(found, *change);
  }
  return offsets;
}

}  // namespace vantor::tables
