#include "programs/tables/kinds/sectionPids.h"

#include <algorithm>
#include <iterator>

#include "interface/psi/tableTypes.h"
#include "programs/tables/kinds/SignallingPids.h"

namespace vantor::tables {

namespace {

// ATSC A/65 table 6.3.
constexpr std::int32_t kChannelEtt = 0x0004;
constexpr std::int32_t kFirstEit = 0x0100;
constexpr std::int32_t kLastEit = 0x017F;
constexpr std::int32_t kFirstEtt = 0x0200;
constexpr std::int32_t kLastEtt = 0x027F;

/// protocol_version and ETM_id, clause 6.6: what tells one text from another.
constexpr std::size_t kEttHead = 5;

bool isListedAs(std::int32_t type, std::uint8_t tableId) {
  if (tableId == kAtscEitTableId) return type >= kFirstEit && type <= kLastEit;
  return tableId == kAtscEttTableId && (type == kChannelEtt || (type >= kFirstEtt && type <= kLastEtt));
}

/// True when both cannot be on one PID: they are the same part of different tables.
bool isConflict(const Section& a, const Section& b) {
  if (a.tableId() == kAtscEttTableId) return a.payload().substr(0, kEttHead) != b.payload().substr(0, kEttHead);
  return a.version() == b.version() && a.bytes() != b.bytes();
}

/// Whether a PMT's stream of this type has sections with this table_id.
bool isStreamFor(std::int16_t streamType, std::uint8_t tableId) {
  const bool isDsmCc = psi::kDsmCc.has(tableId);
  return carriesSections(streamType) && (streamType == kPrivateSections ? !isDsmCc : isDsmCc);
}

}  // namespace

SectionPids::SectionPids(const TableSet& set) : set(set) {
  if (!set.mgt) return;
  for (const auto& table : set.mgt->tables) {
    Listed& to = listed.emplace_back();
    to.type = table.table_type;
    to.pid = static_cast<std::uint16_t>(table.table_type_pid);
    to.version = table.table_type_version_number;
    to.room = table.number_bytes;
  }
}

std::optional<std::uint16_t> SectionPids::pidOf(const Section& section) {
  const psi::TableType* const type = psi::tableTypeOf(section.tableId());
  if (type != nullptr && type->pid != psi::TableType::kAnyPid) return static_cast<std::uint16_t>(type->pid);
  if (Listed* const place = listedFor(section)) {
    const auto [there, isNew] = place->sections.try_emplace({section.extension(), section.number()}, section);
    if (isNew)
      place->room -= static_cast<std::int64_t>(section.bytes().size());
    else
      there->second = section;
    return place->pid;
  }
  return streamFor(section);
}

/// A table has the version that the MGT says and no more bytes; where that fits nothing, an earlier version is
/// there.
SectionPids::Listed* SectionPids::listedFor(const Section& section) {
  if (!section.hasSyntax()) return nullptr;
  const auto isPlace = [&](const Listed& place, bool sameVersion) {
    if (!isListedAs(place.type, section.tableId())) return false;
    if (sameVersion && place.version != section.version()) return false;
    const auto there = place.sections.find({section.extension(), section.number()});
    if (there != place.sections.end()) return !isConflict(there->second, section);
    return place.room >= static_cast<std::int64_t>(section.bytes().size());
  };
  for (const bool sameVersion : {true, false}) {
    const auto found = std::find_if(listed.begin(), listed.end(),
                                    [&](const Listed& place) { return isPlace(place, sameVersion); });
    if (found != listed.end()) return &*found;
  }
  return nullptr;
}

std::optional<std::uint16_t> SectionPids::streamFor(const Section& section) const {
  for (const ProgramMap& map : set.pmts)
    for (const auto& stream : map.pmt.streams)
      if (isStreamFor(stream.stream_type, section.tableId()))
        return static_cast<std::uint16_t>(stream.elementary_pid);
  return std::nullopt;
}

}  // namespace vantor::tables
