#include "programs/tables/timeZone.h"

#include <absl/time/time.h>

namespace vantor::tables {

namespace {

int minutesEast(const absl::TimeZone& zone, absl::Time time) { return zone.At(time).offset / 60; }

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
  if (!absl::LoadTimeZone(zone, &found)) return std::nullopt;
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
