#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "interface/psi/sectioning.h"
#include "interface/psi/tableTypes.h"
#include "interface/records.h"

/// A service's schedule as people have it, with all its events in one record, and as the wire has it: each table_id
/// holds four days, EN 300 468 clause 5.2.4. Optional fields of the records are set only where they make a
/// difference.

namespace vantor::tables {

using thrift::dvb_tables::EIT;

constexpr int kDaysPerTable = kSegmentsPerTable / kSegmentsPerDay;
constexpr int kScheduleTables = kEitScheduleActualLast - kEitScheduleActualFirst + 1;
constexpr int kScheduleDays = kScheduleTables * kDaysPerTable;

/// The type of a table of a schedule.
inline const psi::TableType& scheduleType(bool actual) {
  return actual ? psi::kEitScheduleActual : psi::kEitScheduleOther;
}
inline bool isActualSchedule(std::int16_t tableId) {
  return psi::kEitScheduleActual.has(static_cast<std::uint8_t>(tableId));
}

/// The MJD that the first segment of a table starts at, the one that the library takes.
std::int32_t firstDayOf(const EIT& table);
void setFirstDay(EIT& table, std::int32_t day);
void setLastTableId(EIT& table, std::int16_t tableId);
bool isPacked(const EIT& table);

/// An event that has no place in its schedule.
struct Misplaced {
  std::size_t event;  ///< its index
  bool isOutside;     ///< at no time in the kScheduleDays from the first one; else in a segment before the event in
                      ///< front
};

/// The first one of a schedule, none when all events have their places.
std::optional<Misplaced> firstMisplaced(const EIT& schedule);

/// Divides a schedule with the first table_id of its kind and no misplaced event into its tables. A packed one has
/// one table.
std::vector<EIT> splitSchedule(EIT schedule);

/// The schedule that splitSchedule() makes these tables of; none when there is none.
std::optional<EIT> joinSchedule(const std::vector<EIT>& tables);

}  // namespace vantor::tables
