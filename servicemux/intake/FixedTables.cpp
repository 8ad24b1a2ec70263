#include "servicemux/intake/FixedTables.h"

#include "interface/converters/owned.h"
#include "interface/converters/t2dCAT.h"
#include "interface/converters/t2dNIT.h"
#include "interface/converters/t2dPAT.h"
#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "servicemux/intake/intake.h"
#include "servicemux/output/DumpFiles.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/sections/sections.h"
#include "servicemux/streams/SimpleTable.h"

namespace vantor {

using namespace vantor::thrift::dvb_tables;

FixedTables::FixedTables(RegistryOwner* owner, const DumpFiles& dumps) : owner(owner), dumps(dumps) {
  const InsertionPeriods& periods = owner->insertionPeriods();
  const auto make = [owner](unsigned short pid, unsigned int period) {
    return std::make_unique<SimpleTable>(owner->outputMuxer(), pid, period);
  };
  pat = make(kPatPid, periods.pat);
  cat = make(kCatPid, periods.cat);
  nit = make(kNitPid, periods.nit);
  nullPackets = make(kNullPid, periods.nullPackets);
}

FixedTables::~FixedTables() = default;

int FixedTables::newPAT(const PAT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newPAT");
  const PatTable table(t2dPAT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    const unsigned int size = putOnAir(*pat, kPatPid, table->i_version, sections.get());
    log_function(HOST_LOG_NOTICE, 0, "[%s] New PAT %04x/v%u Size %us/%ub", owner->outputName().c_str(),
                 table->i_ts_id, table->i_version, sectionCount(sections), size);
  }
  return table->i_version;
}

int FixedTables::newCAT(const CAT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newCAT");
  const CatTable table(t2dCAT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    const unsigned int size = putOnAir(*cat, kCatPid, table->i_version, sections.get());
    log_function(HOST_LOG_NOTICE, 0, "[%s] New CAT v%u Size=%us/%ub", owner->outputName().c_str(), table->i_version,
                 sectionCount(sections), size);
  }
  return table->i_version;
}

int FixedTables::newNIT(const NIT& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newNIT");
  const NitTable table(t2dNIT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  NITLayout layout;
  layout.repeatsDescriptors = repeatsDescriptors(record);
  layout.starts = sectionStarts(record.transport_streams);
  if (const SectionChain sections = generateSections(*table, layout)) {
    const unsigned int size = putOnAir(*nit, kNitPid, table->i_version, sections.get());
    log_function(HOST_LOG_NOTICE, 0, "[%s] New NITact %04x/v%u Size %us/%ub", owner->outputName().c_str(),
                 table->i_network_id, table->i_version, sectionCount(sections), size);
  }
  return table->i_version;
}

/// Dumps the sections and puts their packets on air, all at once, in place of what the stream has sent so far.
/// Returns the bytes of the sections.
unsigned int FixedTables::putOnAir(SimpleTable& stream, unsigned short pid, unsigned char version,
                                   const dvbpsi_psi_section_s* sections) {
  dumps.dump(sections);
  std::string packets;
  packetize(pid, 0, packets, sections);
  const auto size = static_cast<unsigned int>(sectionBytes(sections));
  stream.new_packetized_table_with_metadata(packets, version, size);
  return size;
}

void FixedTables::clearPAT() {
  clearTable(*pat, "PAT", "PAT");
  dumps.removeLink(kPatTableId, 0);
}

void FixedTables::clearCAT() {
  clearTable(*cat, "CAT", "CAT");
  dumps.removeLink(kCatTableId, 0);
}

void FixedTables::clearNIT() {
  clearTable(*nit, "NITact", "NIT");
  dumps.removeLink(kNitActualTableId, 0);
}

void FixedTables::clearTable(SimpleTable& stream, const char* table, const char* kind) {
  if (stream.metadataSize() != 0)
    log_function(HOST_LOG_NOTICE, 0, "[%s] Clearing %s v%u Size %ub", owner->outputName().c_str(), table,
                 stream.metadataVersion(), stream.metadataSize());
  else
    log_function(HOST_LOG_WARNING, 0, "[%s] %s already cleared", owner->outputName().c_str(), kind);
  stream.clear_packetized_table();
}

int FixedTables::newNULLPkts(unsigned int period) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newNULLPkts");
  owner->insertionPeriods().nullPackets = period;
  std::string packet;
  appendNullPacket(packet);
  nullPackets->SetPeriod(period);
  nullPackets->new_packetized_table(packet);
  return 0;
}

int FixedTables::clearNULLPkts() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearNULLPkts");
  return nullPackets->clear_packetized_table();
}

void FixedTables::setPeriods(const InsertionPeriods& wanted) {
  InsertionPeriods& periods = owner->insertionPeriods();
  pat->SetPeriod(periods.pat = wanted.pat);
  cat->SetPeriod(periods.cat = wanted.cat);
  nit->SetPeriod(periods.nit = wanted.nit);
}

void FixedTables::clearTables() {
  pat->clear_packetized_table();
  cat->clear_packetized_table();
  nit->clear_packetized_table();
}

void FixedTables::listOnAir(std::vector<TableOnAir>& tables) const {
  const auto add = [&tables](const char* name, unsigned short pid, SimpleTable& stream) {
    const StreamedTable sent = stream.onAir();
    if (sent.facts.packets != 0) tables.emplace_back(name, pid, sent);
  };
  add(psi::kPat.name, kPatPid, *pat);
  add(psi::kCat.name, kCatPid, *cat);
  add(psi::kNitActual.name, kNitPid, *nit);
  add("null packets", kNullPid, *nullPackets);
}

}  // namespace vantor
