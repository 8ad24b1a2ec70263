#include "servicemux/registries/EITStreams.h"

#include <algorithm>
#include <iterator>

#include "interface/host.h"
#include "interface/psi/tableTypes.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/streams/TableCarrousel.h"

namespace vantor {

namespace {

constexpr unsigned short kHighest = 0xFFFF;

}  // namespace

EITStreams::EITStreams(RegistryOwner* owner)
    : owner(owner),
      carrousel(std::make_shared<TableCarrousel>(owner->outputMuxer(), kEitPid, muxed_stream::kNoCC)) {}

EITStreams::~EITStreams() { clearAllEITs(); }

unsigned short EITStreams::getEITInsertionPeriod(unsigned char table_id) const {
  const InsertionPeriods& periods = owner->insertionPeriods();
  if (psi::kEitPfActual.has(table_id)) return static_cast<unsigned short>(periods.eitPresentFollowingActual);
  if (psi::kEitPfOther.has(table_id)) return static_cast<unsigned short>(periods.eitPresentFollowingOther);
  if (psi::kEitScheduleActual.has(table_id)) return static_cast<unsigned short>(periods.eitScheduleActual);
  if (psi::kEitScheduleOther.has(table_id)) return static_cast<unsigned short>(periods.eitScheduleOther);
  log_function(HOST_LOG_ERROR, 0, "[%s] Table id [0x%02x] out of range!", "getEITInsertionPeriod", table_id);
  return static_cast<unsigned short>(periods.fallback);
}

eit_data* EITStreams::findEIT(unsigned char table_id, unsigned short sid, unsigned short tsid,
                              unsigned short onid) {
  const auto found = index.find(Key(sid, table_id, tsid, onid));
  return found == index.end() ? nullptr : &*found;
}

eit_data* EITStreams::findEIT(unsigned char table_id, unsigned short sid) {
  return firstAdded({sid, table_id, 0, 0}, {sid, table_id, kHighest, kHighest});
}

eit_data* EITStreams::findEIT(unsigned short sid) {
  return firstAdded({sid, 0, 0, 0}, {sid, kHighest, kHighest, kHighest});
}

/// Of the records between two keys, both included.
eit_data* EITStreams::firstAdded(const Key& lowest, const Key& highest) {
  const auto end = index.upper_bound(highest);
  const auto first = std::min_element(index.lower_bound(lowest), end,
                                      [](const eit_data& a, const eit_data& b) { return a.order < b.order; });
  return first == end ? nullptr : &*first;
}

/// The record that a new EIT takes the place of, null when it is another one than all that are there.
eit_data* EITStreams::placeOf(const Key& key) {
  const auto [sid, table_id, tsid, onid] = key;
  const auto tableId = static_cast<unsigned char>(table_id);
  eit_data* const same = findEIT(tableId, sid, tsid, onid);
  return same != nullptr || owner->timingProfile() == TimingProfile::Standards ? same : findEIT(tableId, sid);
}

bool EITStreams::newEIT(unsigned char table_id, unsigned short sid, std::string& packets, unsigned char sections,
                        unsigned short tsid, unsigned short onid) {
  const Key key(sid, table_id, tsid, onid);
  eit_data* const known = placeOf(key);
  log_function(HOST_LOG_DEBUG, 0, "Add new EIT tid [0x%04x] sid [0x%04x]", table_id, sid);
  if (known != nullptr) {
    log_function(HOST_LOG_DEBUG, 0, "EIT found tid [0x%04x] sid [0x%04x] replace ", table_id, sid);
    if (packets.empty()) return false;
    putUnder(key, *known);
    known->carrousel->replace_packetized_subtable(known->subtable, packets, sections);
    return true;
  }
  auto eit = std::make_unique<eit_data>();
  eit->tableId = table_id;
  eit->serviceId = sid;
  eit->transportStreamId = tsid;
  eit->originalNetworkId = onid;
  eit->carrousel = carrousel;
  log_function(HOST_LOG_DEBUG, 0, "EIT not found tid [0x%04x] sid [0x%04x]", table_id, sid);
  eit->subtable = carrousel->new_packetized_subtable(packets, getEITInsertionPeriod(table_id), sections);
  if (eit->subtable == nullptr) return false;
  eit->order = nextOrder++;
  index.insert(*eit);
  list.push_back(*eit.release());
  return true;
}

/// Gives a record, which is in the index, the stream of a key that is not there yet or is its own.
void EITStreams::putUnder(const Key& key, eit_data& eit) {
  if (keyOf(eit) == key) return;
  index.erase(index.iterator_to(eit));
  std::tie(std::ignore, std::ignore, eit.transportStreamId, eit.originalNetworkId) = key;
  index.insert(eit);
}

void EITStreams::clearEIT(unsigned short sid) {
  while (eit_data* const eit = findEIT(sid)) remove(*eit);
}

void EITStreams::clearEIT(unsigned char table_id, unsigned short sid, unsigned short tsid, unsigned short onid) {
  if (eit_data* const eit = findEIT(table_id, sid, tsid, onid)) remove(*eit);
}

void EITStreams::clearAllEITs() {
  index.clear();
  list.clear_and_dispose(delete_disposer());
}

void EITStreams::takePeriods() {
  for (const eit_data& eit : list)
    carrousel->SetPeriod(eit.subtable, getEITInsertionPeriod(static_cast<unsigned char>(eit.tableId)));
}

void EITStreams::remove(eit_data& eit) {
  index.erase(index.iterator_to(eit));
  list.erase_and_dispose(list.iterator_to(eit), delete_disposer());
}

/// Whether the same table of another stream is on air too; it would be a neighbour in the index.
bool EITStreams::hasNamesake(const eit_data& eit) const {
  const auto isNamesake = [&eit](const eit_data& other) {
    return other.serviceId == eit.serviceId && other.tableId == eit.tableId;
  };
  const auto at = index.iterator_to(eit);
  const auto next = std::next(at);
  return (at != index.begin() && isNamesake(*std::prev(at))) || (next != index.end() && isNamesake(*next));
}

void EITStreams::listOnAir(std::vector<TableOnAir>& tables) const {
  for (const eit_data& eit : list) {
    const StreamedTable sent = carrousel->onAir(*eit.subtable);
    if (hasNamesake(eit))
      tables.emplace_back(psi::tableNameOfStream(sent.facts.key), kEitPid, sent);
    else
      tables.emplace_back(kEitPid, sent);
  }
}

void EITStreams::delete_disposer::operator()(eit_data* eit) const {
  const std::unique_ptr<eit_data> owned(eit);
  owned->carrousel->clear_packetized_subtable(owned->subtable);
}

}  // namespace vantor
