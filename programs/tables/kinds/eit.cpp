#include "programs/tables/kinds/eit.h"

#include <set>
#include <utility>
#include <vector>

#include "interface/converters/t2dEIT.h"
#include "interface/psi/sectioning.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/TableListKind.h"
#include "programs/tables/kinds/eitLayout.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/kinds/schedule.h"
#include "programs/tables/kinds/serviceFields.h"
#include "programs/tables/values/eventTime.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::EITEvent;
using thrift::dvb_tables::EITSectioning;

bool isActual(const EIT& eit) { return eit.table_id == kEitPfActualTableId || isActualSchedule(eit.table_id); }

/// An event without a start_time begins when the one before ends.
std::int64_t readStart(const JsonValue& value, const std::vector<EITEvent>& before, UtcTime now) {
  const auto given = value.optional("start_time");
  if (given) return readStartTime(*given, now);
  const auto end = before.empty() ? std::nullopt : endOf(before.back().start_time, before.back().duration);
  return end ? *end : readStartTime(value.required("start_time"), now);
}

std::vector<EITEvent> readEvents(const JsonValue& list, UtcTime now) {
  std::vector<EITEvent> events;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const JsonValue value = list.at(i);
    value.allowOnly(
        {"event_id", "start_time", "duration", "running_status", "free_CA_mode", "starts_section", "descriptors"});
    EITEvent event;
    readInteger(value, "event_id", event.event_id);
    event.start_time = readStart(value, events, now);
    event.duration = readDuration(value.required("duration"));
    readServiceFields(value, event);
    events.push_back(std::move(event));
  }
  return events;
}

OrderedJson writeEventList(const std::vector<EITEvent>& events) {
  OrderedJson json = OrderedJson::array();
  for (const EITEvent& event : events) {
    OrderedJson to{{"event_id", event.event_id},
                   {"start_time", startTimeText(event.start_time)},
                   {"duration", durationText(event.duration)}};
    writeServiceFields(event, to);
    json.push_back(std::move(to));
  }
  return json;
}

EITSectioning::type readSectioning(const JsonValue& owner) {
  const auto value = owner.optional("sectioning");
  if (!value || value->string() == "standard") return EITSectioning::STANDARD;
  if (value->string() == "packed") return EITSectioning::PACKED;
  value->fail(printable("\"" + value->string() + "\"") + R"( is neither "standard" nor "packed")");
}

/// What both kinds of EIT begin with; the table_id is still to be chosen.
EIT readHead(const JsonValue& value, UtcTime now) {
  EIT eit;
  readInteger(value, "service_id", eit.service_id);
  readInteger(value, "transport_stream_id", eit.transport_stream_id);
  readInteger(value, "original_network_id", eit.original_network_id);
  readVersion(value, eit);
  eit.__set_sectioning(readSectioning(value));
  eit.events = readEvents(value.required("events"), now);
  return eit;
}

bool readActual(const JsonValue& value) {
  const auto actual = value.optional("actual");
  return !actual || actual->boolean();
}

void readLastTableId(const JsonValue& value, EIT& eit) {
  if (const auto last = value.optional("last_table_id")) setLastTableId(eit, last->integer<std::int16_t>());
}

OrderedJson writeHead(const EIT& eit) {
  OrderedJson json{{"service_id", eit.service_id},
                   {"transport_stream_id", eit.transport_stream_id},
                   {"original_network_id", eit.original_network_id}};
  if (!isActual(eit)) json["actual"] = false;
  writeVersion(eit, json);
  if (eit.__isset.last_table_id) json["last_table_id"] = eit.last_table_id;
  if (isPacked(eit)) json["sectioning"] = "packed";
  return json;
}

/// The keys of the map only tell the library the order.
serviceMux::EITRecords recordsOf(const EIT& eit) {
  serviceMux::EITRecords records;
  records[0][eit.table_id] = eit;
  return records;
}

std::vector<EIT> alone(EIT eit) {
  std::vector<EIT> tables;
  tables.push_back(std::move(eit));
  return tables;
}

psi::TableKey eitKey(const EIT& eit) {
  return {static_cast<std::uint8_t>(eit.table_id), static_cast<std::uint16_t>(eit.service_id),
          static_cast<std::uint16_t>(eit.transport_stream_id), static_cast<std::uint16_t>(eit.original_network_id)};
}

void addNamesakes(const std::vector<EIT>& eits, std::vector<std::string>& out) {
  std::map<std::pair<std::int16_t, std::int32_t>, const EIT*> seen;
  for (const EIT& eit : eits) {
    const EIT*& first = seen[{eit.table_id, eit.service_id}];
    if (first != nullptr)
      out.push_back(psi::tableName(eitKey(*first)) + ": of transport streams " +
                    std::to_string(first->transport_stream_id) + " and " + std::to_string(eit.transport_stream_id) +
                    " only the latter's is sent");
    first = &eit;
  }
}

/// Both kinds of EIT.
template <std::vector<EIT> TableSet::*Member>
class EitKind : public TableListKind<EIT, Member> {
 public:
  using TableListKind<EIT, Member>::TableListKind;

  bool isWellFormed(const Section& section) const override {
    const std::string_view payload = section.payload();
    return payload.size() >= kEitHead && holdsItems(payload.substr(kEitHead), kEitRoom.itemHead);
  }
  SubtableKey keyOf(const Section& section, int /*pid*/) const override {
    const std::string_view payload = section.payload();
    return {{section.tableId(), section.extension(), wordAt(payload, 0), wordAt(payload, 2)}, 0};
  }
  bool sectionsStandAlone() const override { return true; }
  void takeOffAir(const TableInSet::Identity& identity, serviceMux& mux) const override {
    const auto [network, stream, service, tableId] = identity;
    mux.clearEIT(static_cast<unsigned char>(tableId), service, stream, network);
  }

 protected:
  using Identity = typename TableListKind<EIT, Member>::Identity;

  Identity identityOf(const EIT& eit) const override {
    return {eit.original_network_id, eit.transport_stream_id, eit.service_id, eit.table_id};
  }
  psi::TableKey tableKeyOf(const EIT& eit) const override { return eitKey(eit); }
  EIT decodeItem(const SubtableKey& /*key*/, const std::vector<Section>& sections) const override {
    return decodeEit(sections);
  }
};

class EitPfKind : public EitKind<&TableSet::eitPf> {
 public:
  using EitKind::EitKind;

  const char* key() const override { return "eit_pf"; }

 protected:
  std::vector<EIT> readItems(const JsonValue& value, UtcTime now) const override {
    value.allowOnly({"service_id", "transport_stream_id", "original_network_id", "actual", "version_number",
                     "current_next_indicator", "last_table_id", "sectioning", "present_missing", "events"});
    EIT eit = readHead(value, now);
    eit.table_id = readActual(value) ? kEitPfActualTableId : kEitPfOtherTableId;
    readLastTableId(value, eit);
    if (hasFlag(value, "present_missing")) eit.__set_present_missing(true);
    return alone(std::move(eit));
  }

  OrderedJson writeItem(const EIT& eit, const TableSet& /*set*/) const override {
    OrderedJson json = writeHead(eit);
    writeFlag(eit.__isset.present_missing && eit.present_missing, "present_missing", json);
    json["events"] = writeEventList(eit.events);
    return json;
  }

  bool send(const EIT& eit, serviceMux& mux) const override { return mux.newEITpf(recordsOf(eit)) >= 0; }
};

class EitScheduleKind : public EitKind<&TableSet::eitSchedule> {
 public:
  using EitKind::EitKind;

  const char* key() const override { return "eit_schedule"; }

  /// Sections between the last one of a segment and the next segment do not exist; each segment has one at least.
  bool isWhole(const NumberedSections& sections) const override {
    if (!std::all_of(sections.begin(), sections.end(), [](const auto& part) { return isSegmented(part.second); }))
      return TableListKind::isWhole(sections);
    std::size_t next = 0;  // the first number of the segment to come
    for (const auto& [number, section] : sections) {
      const std::size_t segment = number / kSectionsPerSegment * kSectionsPerSegment;
      if (segment > next) return false;
      for (std::size_t other = segment; other <= segmentLast(section); ++other)
        if (sections.count(static_cast<std::uint8_t>(other)) == 0) return false;
      next = segment + kSectionsPerSegment;
    }
    return !sections.empty() && sections.count(sections.begin()->second.lastNumber()) != 0;
  }

  /// A service's schedule is replaced as a whole: tables of two do not fit together.
  void move(TableSet& from, TableSet& to) const override {
    std::set<Identity> services;
    for (const EIT& eit : from.eitSchedule) services.insert(scheduleOf(eit));
    const auto isReplaced = [&services](const EIT& old) { return services.count(scheduleOf(old)) != 0; };
    auto& tables = to.eitSchedule;
    tables.erase(std::remove_if(tables.begin(), tables.end(), isReplaced), tables.end());
    EitKind::move(from, to);
  }

  OrderedJson write(const TableSet& set) const override {
    OrderedJson json = OrderedJson::array();
    const auto& tables = set.eitSchedule;
    for (auto begin = tables.begin(); begin != tables.end();) {
      const auto end =
          std::find_if(begin, tables.end(), [&](const EIT& eit) { return scheduleOf(eit) != scheduleOf(*begin); });
      const std::vector<EIT> ofService(begin, end);
      if (const auto schedule = joinSchedule(ofService))
        json.push_back(writeItem(*schedule, set));
      else
        for (const EIT& eit : ofService) json.push_back(writeTable(eit));
      begin = end;
    }
    return json;
  }

 protected:
  std::vector<EIT> readItems(const JsonValue& value, UtcTime now) const override {
    value.allowOnly({"service_id", "transport_stream_id", "original_network_id", "actual", "table_id",
                     "last_table_id", "version_number", "current_next_indicator", "first_day", "sectioning",
                     "events"});
    EIT eit = readHead(value, now);
    const psi::TableType& type = scheduleType(readActual(value));
    const auto tableId = value.optional("table_id");
    eit.table_id = static_cast<std::int16_t>(tableId ? tableId->integer(type.firstTableId, type.lastTableId)
                                                     : type.firstTableId);
    if (const auto day = value.optional("first_day")) setFirstDay(eit, readDay(*day, now));
    if (tableId) {
      readLastTableId(value, eit);
      return alone(std::move(eit));
    }
    if (const auto last = value.optional("last_table_id")) last->fail("given without a table_id");
    refuseMisplaced(value, eit);
    return splitSchedule(std::move(eit));
  }

  /// The events of a schedule stand in one list, whichever of its tables has them.
  std::optional<Refusal> inElement(std::optional<Refusal> refusal, const std::vector<EIT>& tables,
                                   std::size_t refused) const override {
    static const std::string kEvents = "/events/";
    if (!refusal || refusal->path.compare(0, kEvents.size(), kEvents) != 0) return refusal;
    std::size_t end = 0;
    std::size_t event = std::stoul(refusal->path.substr(kEvents.size()), &end);
    for (std::size_t before = 0; before < refused; ++before) event += tables[before].events.size();
    refusal->path.replace(kEvents.size(), end, std::to_string(event));
    return refusal;
  }

  /// A whole schedule.
  OrderedJson writeItem(const EIT& eit, const TableSet& /*set*/) const override {
    return writeEvents(eit, writeHead(eit));
  }

  bool send(const EIT& eit, serviceMux& mux) const override { return mux.newEITsch(recordsOf(eit)) >= 0; }

 private:
  static std::size_t segmentLast(const Section& section) {
    return byteAt(section.payload(), kEitSegmentLastOffset);
  }

  /// False for a section that is numbered as if there were no segments.
  static bool isSegmented(const Section& section) {
    return segmentLast(section) >= section.number() &&
           segmentLast(section) / kSectionsPerSegment == section.number() / kSectionsPerSegment;
  }

  /// What the tables of one schedule share, and no others.
  static Identity scheduleOf(const EIT& eit) {
    return {eit.service_id, eit.transport_stream_id, eit.original_network_id, isActual(eit) ? 1 : 0};
  }

  /// A table by itself.
  static OrderedJson writeTable(const EIT& eit) {
    OrderedJson json = writeHead(eit);
    json["table_id"] = eit.table_id;
    return writeEvents(eit, std::move(json));
  }

  static OrderedJson writeEvents(const EIT& eit, OrderedJson json) {
    if (eit.__isset.first_day) json["first_day"] = dayText(eit.first_day);
    json["events"] = writeEventList(eit.events);
    return json;
  }

  static void refuseMisplaced(const JsonValue& value, const EIT& schedule) {
    if (isPacked(schedule)) return;
    const auto misplaced = firstMisplaced(schedule);
    if (!misplaced) return;
    const std::string start = startTimeText(schedule.events[misplaced->event].start_time);
    const JsonValue events = value.required("events");
    events.at(misplaced->event)
        .fail(misplaced->isOutside
                  ? "starts at " + start + ", which is not within " + std::to_string(kScheduleDays) +
                        " days from " + dayText(firstDayOf(schedule))
                  : "starts at " + start + ", in a " + std::to_string(kSegmentHours) +
                        "-hour segment before that of the event in front");
  }
};

}  // namespace

const TableKind& eitPfKind() {
  static const EitPfKind kind({&psi::kEitPfActual, &psi::kEitPfOther});
  return kind;
}

const TableKind& eitScheduleKind() {
  static const EitScheduleKind kind({&psi::kEitScheduleActual, &psi::kEitScheduleOther});
  return kind;
}

std::vector<std::string> namesakesOf(const TableSet& set) {
  std::vector<std::string> all;
  addNamesakes(set.eitSchedule, all);
  addNamesakes(set.eitPf, all);
  return all;
}

}  // namespace vantor::tables
