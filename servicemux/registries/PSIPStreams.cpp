#include "servicemux/registries/PSIPStreams.h"

#include <algorithm>
#include <boost/thread/lock_guard.hpp>
#include <ctime>

#include "interface/converters/owned.h"
#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/sections/sections.h"
#include "servicemux/streams/TableCarrousel.h"
#include "servicemux/time/elapsedOfSecond.h"
#include "servicemux/time/getDSTParams.h"

namespace vantor {

using vantor::thrift::dvb_tables::LocalTimeOffset;

namespace {

// ATSC A/65 clause 6.1: seconds since 1980-01-06 00:00:00 UTC, leap seconds included. There have been 18 since
// then.
constexpr std::time_t kGpsEpoch = 315964800;
constexpr std::uint8_t kGpsUtcOffset = 18;

}  // namespace

PSIPStreams::PSIPStreams(RegistryOwner* owner) : owner(owner), lastCC(muxed_stream::kNoCC) {}

PSIPStreams::~PSIPStreams() { clearAllPSIPTables(); }

unsigned int PSIPStreams::getInsPeriod(PSIP_TID tid) const {
  const InsertionPeriods& periods = owner->insertionPeriods();
  switch (tid) {
    case PSIP_TID_MGT:
      return periods.mgt;
    case PSIP_TID_TVCT:
      return periods.vctTerrestrial;
    case PSIP_TID_CVCT:
      return periods.vctCable;
    case PSIP_TID_RRT:
      return periods.rrt;
    case PSIP_TID_STT:
      return periods.stt;
    default:
      log_function(HOST_LOG_ERROR, 0, "[%s] Table id not supported!", "getInsPeriod");
      return periods.fallback;
  }
}

psip_data* PSIPStreams::findPSIPTable(unsigned char tid) {
  const auto found =
      std::find_if(list.begin(), list.end(), [=](const psip_data& psip) { return psip.tableId == tid; });
  return found == list.end() ? nullptr : &*found;
}

bool PSIPStreams::newPSIPTable(unsigned char tid, std::string& packets, unsigned char sections) {
  return newTable(
      tid,
      [&](const psip_data& known) {
        if (packets.empty()) return false;
        known.carrousel->replace_packetized_subtable(known.subtable, packets, sections);
        return true;
      },
      [&](TableCarrousel& carrousel, unsigned int period) {
        return carrousel.new_packetized_subtable(packets, period, sections);
      });
}

bool PSIPStreams::newPSIPTable(unsigned char tid, const LocalTimeOffset& lto) {
  setLocalTimeOffsetInfo(lto);
  return newTable(
      tid,
      [](const psip_data& known) {
        known.carrousel->replace_packetized_subtable(known.subtable);
        return true;
      },
      [this](TableCarrousel& carrousel, unsigned int period) {
        return carrousel.new_packetized_subtable(period, this);
      });
}

template <typename Replace, typename Add>
bool PSIPStreams::newTable(unsigned char tid, Replace replace, Add add) {
  const psip_data* const known = findPSIPTable(tid);
  log_function(HOST_LOG_WARNING, 0, "Add new PSIP table [0x%04x]", tid);
  if (known != nullptr) {
    log_function(HOST_LOG_DEBUG, 0, "PSIP table found [0x%04x] replace ", tid);
    return replace(*known);
  }
  auto psip = std::make_unique<psip_data>();
  psip->tableId = tid;
  log_function(HOST_LOG_WARNING, 0, "PSIP table not found [0x%04x]", tid);
  psip->carrousel = commonCarrousel();
  psip->subtable = add(*psip->carrousel, getInsPeriod(static_cast<PSIP_TID>(tid)));
  if (psip->subtable == nullptr) return false;
  list.push_back(*psip.release());
  return true;
}

std::shared_ptr<TableCarrousel> PSIPStreams::commonCarrousel() {
  if (list.empty()) {
    log_function(HOST_LOG_WARNING, 0, "PSIP empty carrousel.");
    return std::make_shared<TableCarrousel>(owner->outputMuxer(), kPsipPid, lastCC);
  }
  std::shared_ptr<TableCarrousel> carrousel = list.front().carrousel;
  log_function(HOST_LOG_WARNING, 0, "PSIP carrousel use count [%d]", static_cast<int>(carrousel.use_count()));
  return carrousel;
}

void PSIPStreams::clearPSIPTable(unsigned char tid) {
  while (psip_data* const psip = findPSIPTable(tid)) remove(*psip);
}

void PSIPStreams::clearAllPSIPTables() {
  while (!list.empty()) remove(list.front());
}

/// The carousel of the last table leaves the muxer before its counter is read: no packet may go out in between.
void PSIPStreams::remove(psip_data& psip) {
  if (psip.carrousel.use_count() == 1) {
    psip.carrousel->unlinkFromMuxer();
    lastCC = psip.carrousel->GetLastCC();
  }
  list.erase_and_dispose(list.iterator_to(psip), delete_disposer());
}

LocalTimeOffset PSIPStreams::getLocalTimeOffsetInfo() {
  const boost::lock_guard<Lock> guard(lock);
  return localTimeOffset;
}

void PSIPStreams::setLocalTimeOffsetInfo(const LocalTimeOffset& lto) {
  const boost::lock_guard<Lock> guard(lock);
  localTimeOffset = lto;
}

void PSIPStreams::fillSTTData(unsigned char* packet) {
  const std::string made = makeSTT();
  if (!made.empty()) std::copy_n(made.begin(), kPacketSize, packet);
}

/// The packet of an STT of this second; empty when libdvbpsi runs out of memory.
std::string PSIPStreams::makeSTT() {
  const SttTable stt(dvbpsi_atsc_NewSTT(PSIP_TID_STT, 0, 0, true));
  if (!stt) return "";
  const std::time_t now = std::time(nullptr);
  stt->i_gps_utc_offset = kGpsUtcOffset;
  stt->i_daylight_savings = getDSTParams(getLocalTimeOffsetInfo(), now);
  stt->i_system_time = static_cast<std::uint32_t>(now - kGpsEpoch + kGpsUtcOffset);
  const SectionChain sections = generateSections(*stt);
  std::string packets;
  if (sections) packetize(kPsipPid, 0, packets, sections.get());
  return packets;
}

boost::chrono::nanoseconds PSIPStreams::elapsed() const { return elapsedOfSecond(); }

void PSIPStreams::listOnAir(std::vector<TableOnAir>& tables) {
  for (const psip_data& psip : list) {
    StreamedTable sent = psip.carrousel->onAir(*psip.subtable);
    if (sent.facts.packets == 0) sent.facts = factsOf(makeSTT());
    tables.emplace_back(kPsipPid, sent);
  }
}

void PSIPStreams::delete_disposer::operator()(psip_data* psip) const {
  const std::unique_ptr<psip_data> owned(psip);
  owned->carrousel->clear_packetized_subtable(owned->subtable);
}

}  // namespace vantor
