#include "programs/tables/kinds/schedule.h"

#include <utility>

#include "programs/tables/values/eventTime.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::EITEvent;
using thrift::dvb_tables::EITSectioning;

/// Counted from the beginning of the schedule.
std::optional<int> scheduleSegmentOf(const EITEvent& event, std::int32_t firstDay) {
  const std::int32_t days = dayOf(event.start_time) - firstDay;
  if (days < 0 || days >= kScheduleDays) return std::nullopt;
  const int table = days / kDaysPerTable;
  const auto segment = segmentOf(static_cast<std::uint64_t>(event.start_time), firstDay + table * kDaysPerTable);
  if (!segment) return std::nullopt;
  return table * kSegmentsPerTable + *segment;
}

EIT withoutEvents(EIT table) {
  table.events.clear();
  table.__isset.first_day = false;
  table.first_day = 0;
  return table;
}

std::int32_t dayOfFirstEvent(const EIT& table) { return dayOf(table.events.front().start_time); }

}  // namespace

std::int32_t firstDayOf(const EIT& table) {
  if (table.__isset.first_day) return table.first_day;
  return table.events.empty() ? 0 : dayOfFirstEvent(table);
}

void setFirstDay(EIT& table, std::int32_t day) {
  table.__isset.first_day = table.events.empty() || day != dayOfFirstEvent(table);
  table.first_day = table.__isset.first_day ? day : 0;
}

void setLastTableId(EIT& table, std::int16_t tableId) {
  table.__isset.last_table_id = tableId != table.table_id;
  table.last_table_id = table.__isset.last_table_id ? tableId : std::int16_t{0};
}

bool isPacked(const EIT& table) { return table.sectioning == EITSectioning::PACKED; }

std::optional<Misplaced> firstMisplaced(const EIT& schedule) {
  int segment = 0;
  for (std::size_t i = 0; i < schedule.events.size(); ++i) {
    const auto own = scheduleSegmentOf(schedule.events[i], firstDayOf(schedule));
    if (!own || *own < segment) return Misplaced{i, !own};
    segment = *own;
  }
  return std::nullopt;
}

std::vector<EIT> splitSchedule(EIT schedule) {
  std::vector<EIT> tables;
  if (isPacked(schedule) || schedule.events.empty()) {
    tables.push_back(std::move(schedule));
    return tables;
  }
  const std::int32_t firstDay = firstDayOf(schedule);
  std::vector<EITEvent> events = std::move(schedule.events);
  const EIT empty = withoutEvents(std::move(schedule));
  for (EITEvent& event : events) {
    const int table = *scheduleSegmentOf(event, firstDay) / kSegmentsPerTable;
    while (tables.size() <= static_cast<std::size_t>(table)) {
      const auto number = static_cast<std::int16_t>(tables.size());
      tables.push_back(empty);
      tables.back().table_id = static_cast<std::int16_t>(empty.table_id + number);
    }
    tables.back().events.push_back(std::move(event));
  }
  std::int32_t day = firstDay;
  for (EIT& table : tables) {
    setLastTableId(table, tables.back().table_id);
    if (!table.events.empty()) setFirstDay(table, day);
    day += kDaysPerTable;
  }
  return tables;
}

std::optional<EIT> joinSchedule(const std::vector<EIT>& tables) {
  EIT schedule = tables.front();
  if (schedule.table_id != scheduleType(isActualSchedule(schedule.table_id)).firstTableId) return std::nullopt;
  if (tables.size() > 1) {
    schedule = withoutEvents(schedule);
    setLastTableId(schedule, schedule.table_id);
    std::optional<std::int32_t> firstDay;
    for (std::size_t i = 0; i < tables.size(); ++i) {
      const std::vector<EITEvent>& events = tables[i].events;
      if (!firstDay && !events.empty()) firstDay = firstDayOf(tables[i]) - static_cast<int>(i) * kDaysPerTable;
      schedule.events.insert(schedule.events.end(), events.begin(), events.end());
    }
    if (!firstDay || *firstDay < 0) return std::nullopt;
    setFirstDay(schedule, *firstDay);
  }
  if (schedule.__isset.last_table_id) return std::nullopt;
  if (!isPacked(schedule) && firstMisplaced(schedule)) return std::nullopt;
  if (splitSchedule(schedule) != tables) return std::nullopt;
  return schedule;
}

}  // namespace vantor::tables
