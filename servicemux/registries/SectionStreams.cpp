#include "servicemux/registries/SectionStreams.h"

#include <utility>

#include "interface/host.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/streams/TableCarrousel.h"

namespace vantor {

SectionStreams::SectionStreams(RegistryOwner* owner) : owner(owner) {}

SectionStreams::~SectionStreams() { clearAll(); }

void SectionStreams::newSections(unsigned short pid, const psi::TableKey& key, std::string& packets,
                                 Description description) {
  const auto sections = static_cast<unsigned char>(description.sections);
  const Key place{pid, key.table_id, key.extension};
  const auto known = tables.find(place);
  log_function(HOST_LOG_NOTICE, 0, "[%s] %s sections %s on PID %04x Size %us/%ub every %u ms",
               owner->outputName().c_str(), known == tables.end() ? "Add" : "Update", psi::tableName(key).c_str(),
               pid, description.sections, description.size, description.period);
  if (known != tables.end()) {
    Table& table = known->second;
    table.name = std::move(description.name);
    table.carrousel->SetPeriod(table.subtable, description.period);
    table.carrousel->replace_packetized_subtable(table.subtable, packets, sections);
    return;
  }
  Table table;
  table.name = std::move(description.name);
  table.carrousel = carrouselOn(pid);
  table.subtable = table.carrousel->new_packetized_subtable(packets, description.period, sections);
  tables.emplace(place, std::move(table));
}

std::shared_ptr<TableCarrousel> SectionStreams::carrouselOn(unsigned short pid) const {
  const auto first = tables.lower_bound({pid, 0, 0});
  if (first != tables.end() && std::get<0>(first->first) == pid) return first->second.carrousel;
  return std::make_shared<TableCarrousel>(owner->outputMuxer(), pid, muxed_stream::kNoCC,
                                          muxed_stream::Tenancy::kGuest);
}

bool SectionStreams::clearSections(int pid, int table_id, int extension) {
  const auto found = tables.find({pid, table_id, extension});
  if (found == tables.end()) return false;
  Table& table = found->second;
  table.carrousel->clear_packetized_subtable(table.subtable);
  tables.erase(found);
  return true;
}

void SectionStreams::clearAll() {
  for (auto& [key, table] : tables) table.carrousel->clear_packetized_subtable(table.subtable);
  tables.clear();
}

void SectionStreams::listOnAir(std::vector<TableOnAir>& list) const {
  // While the timing of the standards is about to take over a guest is silent for the last packets of the classic
  // one.
  const bool isClassic = owner->timingProfile() == TimingProfile::Classic;
  for (const auto& [key, table] : tables) {
    if (isClassic && table.carrousel->isSilent()) continue;
    const auto pid = static_cast<unsigned short>(std::get<0>(key));
    const StreamedTable sent = table.carrousel->onAir(*table.subtable);
    if (table.name.empty())
      list.emplace_back(pid, sent);
    else
      list.emplace_back(table.name, pid, sent);
  }
}

}  // namespace vantor
