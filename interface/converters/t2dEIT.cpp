#include "interface/converters/t2dEIT.h"

#include "interface/converters/check.h"
#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/psi/tableIds.h"

namespace vantor::thrift::dvb_tables {

namespace {

/// One event after the other, as they fit.
bool fitsPacked(const Field& eit, const EIT& record) {
  SectionCount sections(kEitRoom);
  for (std::size_t i = 0; i < record.events.size(); ++i) {
    const EITEvent& event = record.events[i];
    if (!sections.add(eit.element("events", i), event.descriptors, startsSection(event))) return false;
  }
  return fitsSectionCount(eit["events"], sections.count());
}

/// The present event has section 0, the following one section 1.
bool fitsPresentFollowing(const Field& eit, const EIT& record) {
  const std::size_t most = isPresentMissing(record) ? 1 : 2;
  if (record.events.size() > most)
    return eit["events"].refuse(std::to_string(record.events.size()),
                                "are more than the " + std::to_string(most) + " that present/following has");
  for (std::size_t i = 0; i < record.events.size(); ++i)
    if (!SectionCount(kEitRoom).add(eit.element("events", i), record.events[i].descriptors)) return false;
  return true;
}

bool fitsSchedule(const Field& eit, const EIT& record) {
  int segment = 0;
  SectionCount sections(kEitRoom);
  for (std::size_t i = 0; i < record.events.size(); ++i) {
    const EITEvent& event = record.events[i];
    const Field field = eit.element("events", i);
    const auto own = segmentOf(static_cast<std::uint64_t>(event.start_time), firstDay(record));
    if (!own)
      return field["start_time"].refuse(hex(event.start_time),
                                        "is no time within 4 days from MJD " + std::to_string(firstDay(record)));
    if (*own < segment)
      return field["start_time"].refuse(hex(event.start_time), "is in a segment before that of the event before");
    if (*own > segment) sections = SectionCount(kEitRoom);
    segment = *own;
    if (!sections.add(field, event.descriptors, startsSection(event))) return false;
    if (sections.count() > kSectionsPerSegment)
      return field.refuse("needs one more section than the " + std::to_string(kSectionsPerSegment) +
                          " of segment " + std::to_string(segment));
  }
  return true;
}

bool fitsSections(const Field& eit, const EIT& record) {
  if (record.sectioning != EITSectioning::STANDARD) return fitsPacked(eit, record);
  if (record.table_id < kEitPfActualTableId || record.table_id > kEitScheduleOtherLast)
    return eit["table_id"].refuse(hex(record.table_id), "is none of " + hex(kEitPfActualTableId) + " to " +
                                                            hex(kEitScheduleOtherLast) +
                                                            ", which STANDARD sectioning is for");
  return record.table_id < kEitScheduleActualFirst ? fitsPresentFollowing(eit, record) : fitsSchedule(eit, record);
}

bool canBeSent(const Field& field, const EITEvent& event) {
  return inRange(field["event_id"], event.event_id, kMax16Bits) &&
         inRange(field["start_time"], event.start_time, kMax40Bits) &&
         inRange(field["duration"], event.duration, kMax24Bits) &&
         inRange(field["running_status"], event.running_status, kMax3Bits) &&
         areDescriptors(field, "descriptors", event.descriptors);
}

bool canBeSent(const Field& eit, const EIT& record) {
  if (!inRange(eit["table_id"], record.table_id, kMax8Bits)) return false;
  if (!inRange(eit["service_id"], record.service_id, kMax16Bits)) return false;
  if (!isVersion(eit["version_number"], record.version_number)) return false;
  if (!inRange(eit["transport_stream_id"], record.transport_stream_id, kMax16Bits)) return false;
  if (!inRange(eit["original_network_id"], record.original_network_id, kMax16Bits)) return false;
  if (!inRange(eit["last_table_id"], lastTableId(record), kMax8Bits)) return false;
  for (std::size_t i = 0; i < record.events.size(); ++i)
    if (!canBeSent(eit.element("events", i), record.events[i])) return false;
  return inRange(eit["first_day"], firstDay(record), kMax16Bits) && fitsSections(eit, record);
}

}  // namespace

std::optional<Refusal> check(const EIT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_eit_t* t2dEIT(const EIT& record) {
  if (isRefused("EIT", check(record))) return nullptr;
  EitTable eit(dvbpsi_eit_new(static_cast<std::uint8_t>(record.table_id),
                              static_cast<std::uint16_t>(record.service_id), versionByte(record.version_number),
                              record.current_next_indicator, static_cast<std::uint16_t>(record.transport_stream_id),
                              static_cast<std::uint16_t>(record.original_network_id), 0,
                              static_cast<std::uint8_t>(lastTableId(record))));
  if (!eit) return nullptr;
  for (const EITEvent& event : record.events) {
    dvbpsi_eit_event_t* const added = dvbpsi_eit_event_add(
        eit.get(), static_cast<std::uint16_t>(event.event_id), static_cast<std::uint64_t>(event.start_time),
        static_cast<std::uint32_t>(event.duration), static_cast<std::uint8_t>(event.running_status),
        event.free_CA_mode, static_cast<std::uint16_t>(wireSize(event.descriptors)));
    if (added == nullptr || !addDescriptors(added, &dvbpsi_eit_event_descriptor_add, event.descriptors))
      return nullptr;
  }
  return eit.release();
}

}  // namespace vantor::thrift::dvb_tables
