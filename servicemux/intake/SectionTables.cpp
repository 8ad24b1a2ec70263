#include "servicemux/intake/SectionTables.h"

#include "interface/converters/t2dSections.h"
#include "interface/host.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/registries/SectionStreams.h"
#include "servicemux/sections/SectionChain.h"

namespace vantor {

using vantor::thrift::dvb_tables::Sections;

SectionTables::SectionTables(RegistryOwner* owner)
    : owner(owner), streams(std::make_unique<SectionStreams>(owner)) {}

SectionTables::~SectionTables() = default;

int SectionTables::newSections(const Sections& record) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "newSections");
  const SectionChain sections(t2dSections(record));
  if (!sections) return -1;
  const auto pid = static_cast<unsigned short>(record.pid);
  if (!mayBeOn(pid)) return -1;
  std::string packets;
  packetize(pid, 0, packets, sections.get());
  streams->newSections(
      pid, tableKeyOf(record), packets,
      {record.name, static_cast<unsigned int>(record.period), static_cast<unsigned int>(record.sections.size()),
       static_cast<unsigned int>(sectionBytes(sections.get()))});
  return 0;
}

/// With the classic timing every stream has a counter of its own.
bool SectionTables::mayBeOn(unsigned short pid) const {
  if (owner->timingProfile() != TimingProfile::Classic || !owner->outputMuxer()->isTaken(pid)) return true;
  log_function(HOST_LOG_ERROR, 0,
               "[%s] Sections: pid: 0x%04x has other tables, which the classic timing keeps apart",
               owner->outputName().c_str(), pid);
  return false;
}

void SectionTables::clearSections(int pid, int table_id, int extension) {
  log_function(HOST_LOG_DEBUG, 0, "[%s] PID %04x table_id %02x extension %04x", "clearSections",
               static_cast<unsigned int>(pid), static_cast<unsigned int>(table_id),
               static_cast<unsigned int>(extension));
  const bool isCleared = streams->clearSections(pid, table_id, extension);
  log_function(isCleared ? HOST_LOG_NOTICE : HOST_LOG_WARNING, 0, "[%s] %s sections %02x/%04x on PID %04x",
               owner->outputName().c_str(), isCleared ? "Clearing" : "There are no",
               static_cast<unsigned int>(table_id), static_cast<unsigned int>(extension),
               static_cast<unsigned int>(pid));
}

void SectionTables::clearAll() { streams->clearAll(); }

void SectionTables::listOnAir(std::vector<TableOnAir>& tables) const { streams->listOnAir(tables); }

}  // namespace vantor
