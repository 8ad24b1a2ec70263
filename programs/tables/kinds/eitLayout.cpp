#include "programs/tables/kinds/eitLayout.h"

#include <algorithm>
#include <optional>

#include "interface/psi/sectioning.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/schedule.h"
#include "programs/tables/kinds/sectionStarts.h"
#include "programs/tables/kinds/serviceFields.h"
#include "programs/tables/values/eventTime.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::EITEvent;
using thrift::dvb_tables::EITSectioning;

using Events = std::vector<EITEvent>;

std::uint64_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (const char c : bytes.substr(at, size)) value = value << 8 | static_cast<std::uint8_t>(c);
  return value;
}

/// The events of one section of the capture.
struct EventSection {
  std::size_t number;
  Events events;

  int segment() const { return static_cast<int>(number / kSectionsPerSegment); }
};

Events eventsOf(const Section& section) {
  Events events;
  for (const LoopItem& item : itemsOf(section.payload().substr(kEitHead), kEitRoom.itemHead)) {
    EITEvent& event = events.emplace_back();
    event.event_id = wordAt(item.head, 0);
    event.start_time = static_cast<std::int64_t>(numberAt(item.head, 2, 5));
    event.duration = static_cast<std::int32_t>(numberAt(item.head, 7, 3));
    decodeServiceFields(byteAt(item.head, 10), event);
    event.descriptors = descriptorsOf(item.descriptors);
  }
  return events;
}

/// Section 0 has the present event and section 1 the following one.
bool isPresentFollowing(const std::vector<EventSection>& sections, std::uint8_t lastNumber) {
  return lastNumber == 1 && std::all_of(sections.begin(), sections.end(),
                                        [](const EventSection& section) { return section.events.size() <= 1; });
}

bool isInSegment(const EITEvent& event, int segment, std::int32_t firstDay) {
  return segmentOf(static_cast<std::uint64_t>(event.start_time), firstDay) == segment;
}

/// The day that segment 0 starts at, when all events are in the segments that their sections' numbers tell.
std::optional<std::int32_t> dayOfSegments(const std::vector<EventSection>& sections) {
  std::optional<std::int32_t> firstDay;
  for (const EventSection& section : sections)
    for (const EITEvent& event : section.events) {
      if (!firstDay) firstDay = dayOf(event.start_time) - section.segment() / kSegmentsPerDay;
      if (*firstDay < 0 || !isInSegment(event, section.segment(), *firstDay)) return std::nullopt;
    }
  return firstDay;
}

void pack(std::vector<EventSection> sections, EIT& eit) {
  eit.__set_sectioning(EITSectioning::PACKED);
  std::vector<Events> events;
  events.reserve(sections.size());
  for (EventSection& section : sections) events.push_back(std::move(section.events));
  appendSections(std::move(events), kEitRoom, eit.events);
}

void layOutPresentFollowing(const std::vector<EventSection>& sections, EIT& eit) {
  for (const EventSection& section : sections) {
    if (section.number == 1 && eit.events.empty() && !section.events.empty()) eit.__set_present_missing(true);
    eit.events.insert(eit.events.end(), section.events.begin(), section.events.end());
  }
}

void layOutSchedule(std::vector<EventSection> sections, std::int32_t firstDay, EIT& eit) {
  for (auto section = sections.begin(); section != sections.end();) {
    std::vector<Events> segment;
    const int number = section->segment();
    for (; section != sections.end() && section->segment() == number; ++section)
      segment.push_back(std::move(section->events));
    appendSections(std::move(segment), kEitRoom, eit.events);
  }
  setFirstDay(eit, firstDay);
}

}  // namespace

EIT decodeEit(const std::vector<Section>& sections) {
  const Section& first = sections.front();
  EIT eit;
  eit.table_id = first.tableId();
  eit.service_id = first.extension();
  eit.version_number = first.version();
  eit.current_next_indicator = first.currentNext();
  eit.transport_stream_id = wordAt(first.payload(), 0);
  eit.original_network_id = wordAt(first.payload(), 2);
  setLastTableId(eit, byteAt(first.payload(), kEitLastTableIdOffset));
  eit.__set_sectioning(EITSectioning::STANDARD);
  std::vector<EventSection> contents;
  contents.reserve(sections.size());
  for (const Section& section : sections) contents.push_back({section.number(), eventsOf(section)});
  const bool isEmpty = std::all_of(contents.begin(), contents.end(),
                                   [](const EventSection& section) { return section.events.empty(); });
  if (eit.table_id >= kEitScheduleActualFirst) {
    const auto firstDay = dayOfSegments(contents);
    if (firstDay)
      layOutSchedule(std::move(contents), *firstDay, eit);
    else if (!isEmpty)
      pack(std::move(contents), eit);
  } else if (isPresentFollowing(contents, first.lastNumber())) {
    layOutPresentFollowing(contents, eit);
  } else {
    pack(std::move(contents), eit);
  }
  return eit;
}

}  // namespace vantor::tables
