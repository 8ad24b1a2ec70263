#include "servicemux/registries/SDTStreams.h"

#include <algorithm>

#include "interface/host.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/streams/TableCarrousel.h"

namespace vantor {

namespace {

const char* kindWord(unsigned char table_id) {
  switch (table_id) {
    case kSdtActualTableId:
      return "SDTact";
    case kSdtOtherTableId:
      return "SDTo";
    default:
      return "Unknown";
  }
}

bool matches(int wanted, unsigned short id) { return wanted == SDTStreams::kAny || wanted == id; }

}  // namespace

SDTStreams::SDTStreams(RegistryOwner* owner) : owner(owner) {}

SDTStreams::~SDTStreams() { clearAllSDTs(); }

unsigned short SDTStreams::getSDTInsertionPeriod(unsigned char table_id) const {
  const InsertionPeriods& periods = owner->insertionPeriods();
  switch (table_id) {
    case kSdtActualTableId:
      return static_cast<unsigned short>(periods.sdtActual);
    case kSdtOtherTableId:
      return static_cast<unsigned short>(periods.sdtOther);
    default:
      log_function(HOST_LOG_ERROR, 0, "[%s] Table id [0x%02x] out of range!", "getSDTInsertionPeriod", table_id);
      return static_cast<unsigned short>(periods.fallback);
  }
}

sdt_data* SDTStreams::findSDT(unsigned char table_id, int tsid, int onid) {
  if (table_id == kSdtActualTableId) tsid = onid = kAny;
  const auto found = std::find_if(list.begin(), list.end(), [=](const sdt_data& sdt) {
    return sdt.tableId == table_id && matches(tsid, sdt.transportStreamId) && matches(onid, sdt.originalNetworkId);
  });
  return found == list.end() ? nullptr : &*found;
}

bool SDTStreams::newSDT(unsigned char table_id, unsigned short tsid, unsigned short onid, std::string& packets,
                        unsigned char version, unsigned char sections, unsigned int size) {
  const char* const name = owner->outputName().c_str();
  const char* const kind = kindWord(table_id);
  if (sdt_data* const known = findSDT(table_id, tsid, onid)) {
    if (packets.empty()) return false;
    log_function(HOST_LOG_NOTICE, 0, "[%s] Update %s %04x/%04x/v%u Size %us/%ub", name, kind, tsid, onid, version,
                 sections, size);
    known->carrousel->replace_packetized_subtable(known->subtable, packets, sections);
    return true;
  }
  auto sdt = std::make_unique<sdt_data>();
  sdt->size = size;
  sdt->version = version;
  sdt->tableId = table_id;
  sdt->transportStreamId = tsid;
  sdt->originalNetworkId = onid;
  sdt->carrousel = owner->outputSdtCarrousel();
  log_function(HOST_LOG_NOTICE, 0, "[%s] Add %s %04x/%04x/v%u Size %us/%ub", name, kind, tsid, onid, version,
               sections, size);
  sdt->subtable = sdt->carrousel->new_packetized_subtable(packets, getSDTInsertionPeriod(table_id), sections);
  if (sdt->subtable == nullptr) return false;
  list.push_back(*sdt.release());
  return true;
}

void SDTStreams::clearSDT(unsigned char table_id, int tsid, int onid) {
  while (sdt_data* const sdt = findSDT(table_id, tsid, onid)) {
    log_function(HOST_LOG_NOTICE, 0, "[%s]Clearing %s %04x/%04x/v%u Size %ub", owner->outputName().c_str(),
                 kindWord(sdt->tableId), sdt->transportStreamId, sdt->originalNetworkId, sdt->version, sdt->size);
    list.erase_and_dispose(list.iterator_to(*sdt), delete_disposer());
  }
}

void SDTStreams::clearAllSDTs() { list.clear_and_dispose(delete_disposer()); }

void SDTStreams::takePeriods() {
  for (const sdt_data& sdt : list) sdt.carrousel->SetPeriod(sdt.subtable, getSDTInsertionPeriod(sdt.tableId));
}

void SDTStreams::listOnAir(std::vector<TableOnAir>& tables) const {
  for (const sdt_data& sdt : list) tables.emplace_back(kSdtPid, sdt.carrousel->onAir(*sdt.subtable));
}

void SDTStreams::delete_disposer::operator()(sdt_data* sdt) const {
  const std::unique_ptr<sdt_data> owned(sdt);
  owned->carrousel->clear_packetized_subtable(owned->subtable);
}

}  // namespace vantor
