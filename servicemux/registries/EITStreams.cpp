#include "servicemux/registries/EITStreams.h"

#include <algorithm>
#include <utility>

#include "interface/host.h"
#include "interface/psi/tableTypes.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/streams/TableCarrousel.h"

namespace vantor {

namespace {

using Key = std::pair<unsigned short, unsigned short>;  // service_id, table_id

/// Compares records with keys, in the index's order.
struct KeyLess {
  bool operator()(const eit_data& eit, const Key& key) const { return Key(eit.serviceId, eit.tableId) < key; }
  bool operator()(const Key& key, const eit_data& eit) const { return key < Key(eit.serviceId, eit.tableId); }
};

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

eit_data* EITStreams::findEIT(unsigned char table_id, unsigned short sid) {
  const auto found = index.find(Key(sid, table_id), KeyLess());
  return found == index.end() ? nullptr : &*found;
}

eit_data* EITStreams::findEIT(unsigned short sid) {
  const auto begin = index.lower_bound(Key(sid, 0), KeyLess());
  const auto end = index.upper_bound(Key(sid, 0xFFFF), KeyLess());
  const auto first =
      std::min_element(begin, end, [](const eit_data& a, const eit_data& b) { return a.order < b.order; });
  return first == end ? nullptr : &*first;
}

bool EITStreams::newEIT(unsigned char table_id, unsigned short sid, std::string& packets, unsigned char sections) {
  eit_data* const known = findEIT(table_id, sid);
  log_function(HOST_LOG_DEBUG, 0, "Add new EIT tid [0x%04x] sid [0x%04x]", table_id, sid);
  if (known != nullptr) {
    log_function(HOST_LOG_DEBUG, 0, "EIT found tid [0x%04x] sid [0x%04x] replace ", table_id, sid);
    if (packets.empty()) return false;
    known->carrousel->replace_packetized_subtable(known->subtable, packets, sections);
    return true;
  }
  auto eit = std::make_unique<eit_data>();
  eit->tableId = table_id;
  eit->serviceId = sid;
  eit->carrousel = carrousel;
  log_function(HOST_LOG_DEBUG, 0, "EIT not found tid [0x%04x] sid [0x%04x]", table_id, sid);
  eit->subtable = carrousel->new_packetized_subtable(packets, getEITInsertionPeriod(table_id), sections);
  if (eit->subtable == nullptr) return false;
  eit->order = nextOrder++;
  index.insert(*eit);
  list.push_back(*eit.release());
  return true;
}

void EITStreams::clearEIT(unsigned short sid) {
  while (eit_data* const eit = findEIT(sid)) remove(*eit);
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

void EITStreams::listOnAir(std::vector<TableOnAir>& tables) const {
  for (const eit_data& eit : list) tables.emplace_back(kEitPid, carrousel->onAir(*eit.subtable));
}

void EITStreams::delete_disposer::operator()(eit_data* eit) const {
  const std::unique_ptr<eit_data> owned(eit);
  owned->carrousel->clear_packetized_subtable(owned->subtable);
}

}  // namespace vantor
