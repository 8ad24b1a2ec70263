#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/converters/t2dEIT.h"
#include "interface/converters/t2dPMT.h"
#include "interface/converters/t2dSDT.h"
#include "interface/host.h"
#include "servicemux/front/intake.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/packetize/packet.h"
#include "servicemux/packetize/pids.h"
#include "servicemux/registries/EITStreams.h"
#include "servicemux/registries/PMTStreams.h"
#include "servicemux/registries/SDTStreams.h"
#include "servicemux/sections/sections.h"
#include "servicemux/sections/tableIds.h"

namespace vantor {

namespace {

using namespace vantor::thrift::dvb_tables;

/// 16-bit values come as short. Those above 0x7FFF would be printed and looked up as negative numbers.
unsigned short unsigned16(short value) { return static_cast<unsigned short>(value); }

template <typename Item>
SectionStarts sectionStarts(const std::vector<Item>& items) {
  SectionStarts starts;
  starts.reserve(items.size());
  for (const Item& item : items) starts.push_back(startsSection(item));
  return starts;
}

EITLayout layoutOf(const EIT& record) {
  EITLayout layout;
  layout.standard = record.sectioning == EITSectioning::STANDARD;
  layout.presentMissing = isPresentMissing(record);
  layout.firstDay = firstDay(record);
  layout.lastTableId = static_cast<unsigned char>(lastTableId(record));
  layout.starts = sectionStarts(record.events);
  return layout;
}

}  // namespace

int serviceMux::newPMT(const PMT& record, short pid) {
  const unsigned short pmtPid = unsigned16(pid);
  log_function(HOST_LOG_DEBUG, 0, "[%s] [0x%04x] on PID [0x%04x]", "newPMT",
               static_cast<unsigned int>(record.program_number), pmtPid);
  if (pmtPid > kNullPid) {  // its high bits would go into the flags of the packet header
    log_function(HOST_LOG_ERROR, 0, "[%s] PMT of program %d: pid: 0x%04x is above 0x%04x", name.c_str(),
                 record.program_number, pmtPid, kNullPid);
    return -1;
  }
  const PmtTable table(t2dPMT(record));
  if (!table || !pmts) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    dumpTable(sections.get());
    std::string packets;
    const unsigned int size = packetize(pmtPid, packets, sections.get());
    pmts->newPMT(static_cast<unsigned short>(record.program_number), pmtPid, packets, table->i_version, size);
  }
  return table->i_version;
}

int serviceMux::newSDTActual(const SDT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newSDTActual");
  return newSDT(record, kSdtActual);
}

int serviceMux::newSDTOthers(const SDT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newSDTOthers");
  return newSDT(record, kSdtOther);
}

int serviceMux::newSDT(const SDT& record, unsigned char tableId) {
  const SdtTable table(t2dSDT(record));
  if (!table || !sdts) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table, tableId, sectionStarts(record.services))) {
    if (tableId == kSdtActual) dumpTable(sections.get());
    std::string packets;
    const unsigned int size = packetize(kSdtPid, packets, sections.get());
    sdts->newSDT(tableId, table->i_extension, table->i_network_id, packets, table->i_version,
                 getNumberOfSectionsInSubtable(sections.get()), size);
  }
  return table->i_version;
}

int serviceMux::newEITpf(const EITRecords& records) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newEITpf");
  return newEITs(records, [this](const dvbpsi_eit_t& eit, unsigned int sections, unsigned int size) {
    // The service_id comes first, and each number has the width of the other. Kept for compatibility.
    log_function(HOST_LOG_INFO, 0, "[%s] New EITpf %02x/%04x/%u Size %u/%u", name.c_str(), eit.i_extension,
                 eit.i_table_id, eit.i_version, sections, size);
  });
}

int serviceMux::newEITsch(const EITRecords& records) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newEITsch");
  return newEITs(records, [this](const dvbpsi_eit_t& eit, unsigned int sections, unsigned int size) {
    log_function(HOST_LOG_INFO, 0, "[%s] New EITsched %02x/%04x/%u Size %u/%u", name.c_str(), eit.i_table_id,
                 eit.i_extension, eit.i_version, sections, size);
  });
}

template <typename Announce>
int serviceMux::newEITs(const EITRecords& records, Announce announce) {
  if (!eits) return -1;
  int version = -1;
  for (const auto& [outer, inner] : records) {
    for (const auto& [key, record] : inner) {
      const EitTable table(t2dEIT(record));
      if (!table) continue;
      clampVersion(table->i_version);
      version = table->i_version;
      if (const SectionChain sections = generateSections(*table, layoutOf(record))) {
        std::string packets;
        const unsigned int size = packetize(kEitPid, packets, sections.get());
        eits->newEIT(table->i_table_id, table->i_extension, packets, getNumberOfSectionsInSubtable(sections.get()));
        announce(*table, sectionCount(sections), size);
      }
    }
  }
  return version;
}

void serviceMux::clearPMT(short program, short pid) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] [0x%04x] on PID [0x%04x]", "clearPMT", unsigned16(program),
               unsigned16(pid));
  if (pmts) pmts->clearPMT(unsigned16(program));
  clearCurrentdumpedTable(kPmtTableId, unsigned16(program));
}

void serviceMux::clearAllPMTs() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearAllPMTs");
  if (pmts) pmts->clearAllPMTs();
}

void serviceMux::clearSDTActual() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearSDTActual");
  if (sdts) sdts->clearSDT(kSdtActual, SDTStreams::kAny, SDTStreams::kAny);
  clearCurrentdumpedTable(kSdtActual, 0);
}

void serviceMux::clearSDTOthers(int transport_stream_id, int original_network_id) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearSDTOthers");
  if (sdts) sdts->clearSDT(kSdtOther, transport_stream_id, original_network_id);
}

void serviceMux::clearEITpf(short sid) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] sid [0x%04x]", "clearEITpf", unsigned16(sid));
  if (eits) eits->clearEIT(unsigned16(sid));
}

void serviceMux::clearEITsch(short sid) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] sid %04x", "clearEITsch", unsigned16(sid));
  if (eits) eits->clearEIT(unsigned16(sid));
}

void serviceMux::clearAllEITs() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearAllEITs");
  if (eits) eits->clearAllEITs();
}

}  // namespace vantor
