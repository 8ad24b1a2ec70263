#include "programs/tables/review/overlaps.h"

#include <algorithm>
#include <map>
#include <string>

#include "programs/tables/review/places.h"
#include "programs/tables/values/eventTime.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::EIT;
using thrift::dvb_tables::EITEvent;

struct Event {
  const EIT* table;
  const EITEvent* event;
};

/// The events of one service that have a time, in the order of their start.
void findIn(std::vector<Event> events, std::vector<Finding>& out) {
  std::stable_sort(events.begin(), events.end(),
                   [](const Event& a, const Event& b) { return a.event->start_time < b.event->start_time; });
  const EITEvent* last = nullptr;  // the one that ends last of those before
  for (const auto& [table, event] : events) {
    const auto end = endOf(event->start_time, event->duration);
    if (!end) continue;
    if (last != nullptr && event->start_time < *endOf(last->start_time, last->duration))
      out.push_back({Severity::kWarning, placeOfEvents(*table),
                     nameOf(*table) + ": event " + std::to_string(event->event_id) + " starts at " +
                         startTimeText(event->start_time) + ", before event " + std::to_string(last->event_id) +
                         " has ended"});
    if (last == nullptr || *end > *endOf(last->start_time, last->duration)) last = event;
  }
}

void findIn(const std::vector<EIT>& eits, std::vector<Finding>& out) {
  std::map<std::string, std::vector<Event>> services;
  for (const EIT& eit : eits)
    for (const EITEvent& event : eit.events) services[placeOfEvents(eit).ids.dump()].push_back({&eit, &event});
  for (const auto& [ids, events] : services) findIn(events, out);
}

}  // namespace

std::vector<Finding> overlapsIn(const TableSet& set) {
  std::vector<Finding> out;
  findIn(set.eitPf, out);
  findIn(set.eitSchedule, out);
  return out;
}

}  // namespace vantor::tables
