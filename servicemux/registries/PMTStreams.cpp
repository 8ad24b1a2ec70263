#include "servicemux/registries/PMTStreams.h"

#include <algorithm>

#include "interface/host.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/streams/TableCarrousel.h"

namespace vantor {

namespace {

constexpr unsigned char kSections = 1;  // a PMT is always one section, ISO/IEC 13818-1 clause 2.4.4.9

}  // namespace

PMTStreams::PMTStreams(RegistryOwner* owner) : owner(owner) {}

PMTStreams::~PMTStreams() { clearAllPMTs(); }

pmt_data* PMTStreams::findPMT(unsigned short program) {
  const auto found =
      std::find_if(list.begin(), list.end(), [=](const pmt_data& pmt) { return pmt.programNumber == program; });
  return found == list.end() ? nullptr : &*found;
}

bool PMTStreams::newPMT(unsigned short program, unsigned short pid, std::string& packets, unsigned char version,
                        unsigned int size) {
  const char* const name = owner->outputName().c_str();
  if (pmt_data* const known = findPMT(program)) {
    if (known->pid != pid || packets.empty()) return false;
    known->version = version;
    known->size = size;
    log_function(HOST_LOG_NOTICE, 0, "[%s] Update PMT %04x/v%u on PID %04x Size %ub", name, program, version, pid,
                 size);
    known->carrousel->replace_packetized_subtable(known->subtable, packets, kSections);
    return true;
  }
  auto pmt = std::make_unique<pmt_data>();
  pmt->size = size;
  pmt->version = version;
  pmt->programNumber = program;
  pmt->pid = pid;
  pmt->carrousel = carrouselOn(pid);
  log_function(HOST_LOG_NOTICE, 0, "[%s] Add PMT %04x/v%u on PID %04x Size %ub", name, program, version, pid, size);
  pmt->subtable = pmt->carrousel->new_packetized_subtable(packets, owner->insertionPeriods().pmt, kSections);
  if (pmt->subtable == nullptr) return false;
  list.push_back(*pmt.release());
  return true;
}

std::shared_ptr<TableCarrousel> PMTStreams::carrouselOn(unsigned short pid) {
  const auto found = std::find_if(list.begin(), list.end(), [=](const pmt_data& pmt) { return pmt.pid == pid; });
  if (found != list.end()) return found->carrousel;
  return std::make_shared<TableCarrousel>(owner->outputMuxer(), pid, muxed_stream::kNoCC);
}

void PMTStreams::clearPMT(unsigned short program) {
  const char* const name = owner->outputName().c_str();
  pmt_data* const pmt = findPMT(program);
  if (pmt == nullptr) {
    log_function(HOST_LOG_WARNING, 0, "[%s] PMT %4x not found", name, program);
    return;
  }
  log_function(HOST_LOG_NOTICE, 0, "[%s]Clearing PMT %04x/v%u on PID %04x Size %ub", name, program, pmt->version,
               pmt->pid, pmt->size);
  list.erase_and_dispose(list.iterator_to(*pmt), delete_disposer());
}

void PMTStreams::clearAllPMTs() { list.clear_and_dispose(delete_disposer()); }

void PMTStreams::takePeriod() {
  for (const pmt_data& pmt : list) pmt.carrousel->SetPeriod(pmt.subtable, owner->insertionPeriods().pmt);
}

void PMTStreams::listOnAir(std::vector<TableOnAir>& tables) const {
  for (const pmt_data& pmt : list) tables.emplace_back(pmt.pid, pmt.carrousel->onAir(*pmt.subtable));
}

void PMTStreams::delete_disposer::operator()(pmt_data* pmt) const {
  const std::unique_ptr<pmt_data> owned(pmt);
  owned->carrousel->clear_packetized_subtable(owned->subtable);
}

}  // namespace vantor
