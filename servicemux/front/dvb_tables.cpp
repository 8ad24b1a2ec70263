#include <boost/thread/lock_guard.hpp>

#include "interface/converters/owned.h"
#include "interface/converters/t2dCAT.h"
#include "interface/converters/t2dNIT.h"
#include "interface/converters/t2dPAT.h"
#include "interface/host.h"
#include "servicemux/front/intake.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/packetize/pids.h"
#include "servicemux/registries/EITStreams.h"
#include "servicemux/registries/PMTStreams.h"
#include "servicemux/registries/PSIPStreams.h"
#include "servicemux/registries/SDTStreams.h"
#include "servicemux/sections/sections.h"
#include "servicemux/sections/tableIds.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"

namespace vantor {

namespace {

using namespace vantor::thrift::dvb_tables;

}  // namespace

int serviceMux::newPAT(const PAT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newPAT");
  const PatTable table(t2dPAT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    const unsigned int size = putOnAir(*pat, kPatPid, table->i_version, sections.get());
    log_function(HOST_LOG_NOTICE, 0, "[%s] New PAT %04x/v%u Size %us/%ub", name.c_str(), table->i_ts_id,
                 table->i_version, sectionCount(sections), size);
  }
  return table->i_version;
}

int serviceMux::newCAT(const CAT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newCAT");
  const CatTable table(t2dCAT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    const unsigned int size = putOnAir(*cat, kCatPid, table->i_version, sections.get());
    log_function(HOST_LOG_NOTICE, 0, "[%s] New CAT v%u Size=%us/%ub", name.c_str(), table->i_version,
                 sectionCount(sections), size);
  }
  return table->i_version;
}

int serviceMux::newNIT(const NIT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newNIT");
  const NitTable table(t2dNIT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    const unsigned int size = putOnAir(*nit, kNitPid, table->i_version, sections.get());
    log_function(HOST_LOG_NOTICE, 0, "[%s] New NITact %04x/v%u Size %us/%ub", name.c_str(), table->i_network_id,
                 table->i_version, sectionCount(sections), size);
  }
  return table->i_version;
}

/// Dumps the sections and puts their packets on air, all at once, in place of what the stream has sent so far.
/// Returns the bytes of the sections.
unsigned int serviceMux::putOnAir(SimpleTable& stream, unsigned short pid, unsigned char version,
                                  dvbpsi_psi_section_s* sections) {
  dumpTable(sections);
  std::string packets;
  const unsigned int size = packetize(pid, packets, sections);
  stream.new_packetized_table_with_metadata(packets, version, size);
  return size;
}

void serviceMux::clearCAT() {
  clearTable(*cat, "CAT", "CAT");
  clearCurrentdumpedTable(kCatTableId, 0);
}

void serviceMux::clearNIT() {
  clearTable(*nit, "NITact", "NIT");
  clearCurrentdumpedTable(kNitActual, 0);
}

void serviceMux::clearTable(SimpleTable& stream, const char* table, const char* kind) {
  if (stream.metadataSize() != 0)
    log_function(HOST_LOG_NOTICE, 0, "[%s] Clearing %s v%u Size %ub", name.c_str(), table, stream.metadataVersion(),
                 stream.metadataSize());
  else
    log_function(HOST_LOG_WARNING, 0, "[%s] %s already cleared", name.c_str(), kind);
  stream.clear_packetized_table();
}

int serviceMux::newNULLPkts(unsigned int period) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newNULLPkts");
  periods.nullPackets = period;
  std::string packet;
  getNULLPacket(packet);
  nullPackets->SetPeriod(period);
  nullPackets->new_packetized_table(packet);
  return 0;
}

int serviceMux::clearNULLPkts() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearNULLPkts");
  return nullPackets->clear_packetized_table();
}

void serviceMux::clearAllTables() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearAllTables");
  pat->clear_packetized_table();
  cat->clear_packetized_table();
  nit->clear_packetized_table();
  {
    const boost::lock_guard<boost::mutex> guard(caLock);  // CA messages may come from another thread
    caEcm.reset();
    caEmm.reset();
  }
  pmts->clearAllPMTs();
  eits->clearAllEITs();
  sdts->clearAllSDTs();
  psip->clearAllPSIPTables();
  clearLiveECMs();
  clearLiveEMMs();
  clearDumpedTables();
}

unsigned int serviceMux::packetize(unsigned short pid, std::string& out, dvbpsi_psi_section_s* sections) {
  vantor::packetize(pid, 0, out, sections);
  std::size_t size = 0;
  for (const auto* section = sections; section != nullptr; section = section->p_next) size += sectionSize(*section);
  return static_cast<unsigned int>(size);
}

void serviceMux::getNULLPacket(std::string& out) { appendNullPacket(out); }

unsigned char serviceMux::getNumberOfSectionsInSubtable(dvbpsi_psi_section_s* sections) {
  unsigned char count = 0;
  for (const auto* section = sections; section != nullptr; section = section->p_next) ++count;
  return count;
}

}  // namespace vantor
