#include "servicemux/intake/ServiceTables.h"

#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/converters/t2dEIT.h"
#include "interface/converters/t2dPMT.h"
#include "interface/converters/t2dSDT.h"
#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "servicemux/intake/intake.h"
#include "servicemux/output/DumpFiles.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/registries/EITStreams.h"
#include "servicemux/registries/PMTStreams.h"
#include "servicemux/registries/SDTStreams.h"
#include "servicemux/sections/sections.h"

namespace vantor {

namespace {

using namespace vantor::thrift::dvb_tables;

/// 16-bit values come as short. Those above 0x7FFF would be printed and looked up as negative numbers.
unsigned short unsigned16(short value) { return static_cast<unsigned short>(value); }

EITLayout layoutOf(const EIT& record) {
  EITLayout layout;
  layout.standard = record.sectioning == EITSectioning::STANDARD;
  layout.presentMissing = isPresentMissing(record);
  layout.firstDay = firstDay(record);
  layout.starts = sectionStarts(record.events);
  return layout;
}

}  // namespace

ServiceTables::ServiceTables(RegistryOwner* owner, const DumpFiles& dumps)
    : owner(owner),
      dumps(dumps),
      pmts(std::make_unique<PMTStreams>(owner)),
      sdts(std::make_unique<SDTStreams>(owner)),
      eits(std::make_unique<EITStreams>(owner)) {}

ServiceTables::~ServiceTables() = default;

int ServiceTables::newPMT(const PMT& record, short pid) {
  const unsigned short pmtPid = unsigned16(pid);
  log_function(HOST_LOG_DEBUG, 0, "[%s] [0x%04x] on PID [0x%04x]", "newPMT",
               static_cast<unsigned int>(record.program_number), pmtPid);
  if (pmtPid > kNullPid) {  // its high bits would go into the flags of the packet header
    log_function(HOST_LOG_ERROR, 0, "[%s] PMT of program %d: pid: 0x%04x is above 0x%04x",
                 owner->outputName().c_str(), record.program_number, pmtPid, kNullPid);
    return -1;
  }
  const PmtTable table(t2dPMT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    dumps.dump(sections.get());
    std::string packets;
    packetize(pmtPid, 0, packets, sections.get());
    const auto size = static_cast<unsigned int>(sectionBytes(sections.get()));
    pmts->newPMT(static_cast<unsigned short>(record.program_number), pmtPid, packets, table->i_version, size);
  }
  return table->i_version;
}

int ServiceTables::newSDTActual(const SDT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newSDTActual");
  return newSDT(record, kSdtActualTableId);
}

int ServiceTables::newSDTOthers(const SDT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newSDTOthers");
  return newSDT(record, kSdtOtherTableId);
}

int ServiceTables::newSDT(const SDT& record, unsigned char tableId) {
  const SdtTable table(t2dSDT(record));
  if (!table || !sdts) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table, tableId, sectionStarts(record.services))) {
    if (tableId == kSdtActualTableId) dumps.dump(sections.get());
    std::string packets;
    packetize(kSdtPid, 0, packets, sections.get());
    const auto size = static_cast<unsigned int>(sectionBytes(sections.get()));
    sdts->newSDT(tableId, table->i_extension, table->i_network_id, packets, table->i_version,
                 chainLength(sections.get()), size);
  }
  return table->i_version;
}

int ServiceTables::newEITpf(const EITRecords& records) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newEITpf");
  return newEITs(records, [this](const dvbpsi_eit_t& eit, unsigned int sections, unsigned int size) {
    // The service_id comes first, and each number has the width of the other. Kept for compatibility.
    log_function(HOST_LOG_INFO, 0, "[%s] New EITpf %02x/%04x/%u Size %u/%u", owner->outputName().c_str(),
                 eit.i_extension, eit.i_table_id, eit.i_version, sections, size);
  });
}

int ServiceTables::newEITsch(const EITRecords& records) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newEITsch");
  return newEITs(records, [this](const dvbpsi_eit_t& eit, unsigned int sections, unsigned int size) {
    log_function(HOST_LOG_INFO, 0, "[%s] New EITsched %02x/%04x/%u Size %u/%u", owner->outputName().c_str(),
                 eit.i_table_id, eit.i_extension, eit.i_version, sections, size);
  });
}

template <typename Announce>
int ServiceTables::newEITs(const EITRecords& records, Announce announce) {
  int version = -1;
  for (const auto& [outer, inner] : records) {
    for (const auto& [key, record] : inner) {
      const EitTable table(t2dEIT(record));
      if (!table) continue;
      clampVersion(table->i_version);
      version = table->i_version;
      if (const SectionChain sections = generateSections(*table, layoutOf(record))) {
        std::string packets;
        packetize(kEitPid, 0, packets, sections.get());
        const auto size = static_cast<unsigned int>(sectionBytes(sections.get()));
        eits->newEIT(table->i_table_id, table->i_extension, packets, chainLength(sections.get()), table->i_ts_id,
                     table->i_network_id);
        announce(*table, sectionCount(sections), size);
      }
    }
  }
  return version;
}

void ServiceTables::clearPMT(short program, short pid) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] [0x%04x] on PID [0x%04x]", "clearPMT", unsigned16(program),
               unsigned16(pid));
  pmts->clearPMT(unsigned16(program));
  dumps.removeLink(kPmtTableId, unsigned16(program));
}

void ServiceTables::clearAllPMTs() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearAllPMTs");
  pmts->clearAllPMTs();
}

void ServiceTables::clearSDTActual() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearSDTActual");
  if (sdts) sdts->clearSDT(kSdtActualTableId, SDTStreams::kAny, SDTStreams::kAny);
  dumps.removeLink(kSdtActualTableId, 0);
}

void ServiceTables::clearSDTOthers(int transport_stream_id, int original_network_id) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearSDTOthers");
  if (sdts) sdts->clearSDT(kSdtOtherTableId, transport_stream_id, original_network_id);
}

void ServiceTables::clearEITpf(short sid) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] sid [0x%04x]", "clearEITpf", unsigned16(sid));
  eits->clearEIT(unsigned16(sid));
}

void ServiceTables::clearEITsch(short sid) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] sid %04x", "clearEITsch", unsigned16(sid));
  eits->clearEIT(unsigned16(sid));
}

void ServiceTables::clearAllEITs() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearAllEITs");
  eits->clearAllEITs();
}

void ServiceTables::clearEIT(unsigned char table_id, int service_id, int transport_stream_id,
                             int original_network_id) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] [0x%02x] sid [0x%04x]", "clearEIT", table_id,
               static_cast<unsigned int>(service_id));
  eits->clearEIT(table_id, static_cast<unsigned short>(service_id),
                 static_cast<unsigned short>(transport_stream_id),
                 static_cast<unsigned short>(original_network_id));
}

void ServiceTables::setPeriods(const InsertionPeriods& wanted) {
  InsertionPeriods& periods = owner->insertionPeriods();
  periods.pmt = wanted.pmt;
  periods.sdtActual = wanted.sdtActual;
  periods.sdtOther = wanted.sdtOther;
  periods.eitPresentFollowingActual = wanted.eitPresentFollowingActual;
  periods.eitPresentFollowingOther = wanted.eitPresentFollowingOther;
  periods.eitScheduleActual = wanted.eitScheduleActual;
  periods.eitScheduleOther = wanted.eitScheduleOther;
  pmts->takePeriod();
  if (sdts) sdts->takePeriods();
  eits->takePeriods();
}

void ServiceTables::dropSDTs() { sdts.reset(); }

void ServiceTables::clearAll() {
  pmts->clearAllPMTs();
  eits->clearAllEITs();
  sdts->clearAllSDTs();
}

void ServiceTables::listOnAir(std::vector<TableOnAir>& tables) const {
  pmts->listOnAir(tables);
  sdts->listOnAir(tables);
  eits->listOnAir(tables);
}

}  // namespace vantor
