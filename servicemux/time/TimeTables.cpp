#include "servicemux/time/TimeTables.h"

#include <algorithm>
#include <boost/thread/lock_guard.hpp>

#include "interface/converters/owned.h"
#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "servicemux/WaitLock.h"
#include "servicemux/muxer/classicRates.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/sections/sections.h"
#include "servicemux/streams/SectionQueue.h"

namespace vantor {

namespace {

using Clock = boost::chrono::steady_clock;

// EN 300 468 clauses 5.2.5 and 5.2.6: UTC_time follows section_length.
constexpr std::size_t kUtcOffset = 3;
constexpr int kUtcSize = 5;

struct DescriptorDeleter {
  void operator()(dvbpsi_descriptor_t* descriptor) const { dvbpsi_DeleteDescriptors(descriptor); }
};

/// False when there is no memory.
bool addOffsets(dvbpsi_tot_t& tot, const std::vector<dvbpsi_local_time_offset_s>& offsets) {
  dvbpsi_local_time_offset_dr_t decoded{};
  decoded.i_local_time_offsets_number = static_cast<std::uint8_t>(offsets.size());
  std::copy(offsets.begin(), offsets.end(), std::begin(decoded.p_local_time_offset));
  const std::unique_ptr<dvbpsi_descriptor_t, DescriptorDeleter> descriptor(
      dvbpsi_GenLocalTimeOffsetDr(&decoded, false));
  return descriptor &&
         dvbpsi_tot_descriptor_add(&tot, descriptor->i_tag, descriptor->i_length, descriptor->p_data) != nullptr;
}

}  // namespace

TimeTables::TimeTables(RegistryOwner* owner, std::unique_ptr<SectionQueue> queue)
    : owner(owner), timeQueue(std::move(queue)) {}

TimeTables::~TimeTables() = default;

void TimeTables::setLocalTimeOffsetTable(const std::vector<dvbpsi_local_time_offset_s>& offsets) {
  if (offsets.size() > DVBPSI_LOCAL_TIME_OFFSET_DR_MAX) {
    log_function(HOST_LOG_ERROR, 0, "[%s] %zu local time offsets are more than the %d that a descriptor holds",
                 owner->outputName().c_str(), offsets.size(), DVBPSI_LOCAL_TIME_OFFSET_DR_MAX);
    return;
  }
  const boost::lock_guard<boost::mutex> guard(timeMutex);
  tdtSections = makeTot(kTdtTableId, {});
  totSections = offsets.empty() ? nullptr : makeTot(kTotTableId, offsets);
}

/// With the time that was read last, which the updater overwrites before it sends the table.
SectionChain TimeTables::makeTot(unsigned char tableId,
                                 const std::vector<dvbpsi_local_time_offset_s>& offsets) const {
  const TotTable tot(dvbpsi_tot_new(tableId, 0, 0, true, static_cast<std::uint64_t>(lastUTCTime)));
  if (!tot || (!offsets.empty() && !addOffsets(*tot, offsets))) return nullptr;
  return generateSections(*tot);
}

/// For the owner's thread, which alone takes the queue away: without the mutex it still finds it.
SectionQueue& TimeTables::ownersQueue() { return *timeQueue; }

void TimeTables::clearLocalTimeOffsetTable() {
  ownersQueue().clear_queue();
  const boost::lock_guard<boost::mutex> guard(timeMutex);
  tdtSections.reset();
  totSections.reset();
  timeQueue->clear_queue();  // the updater may have been on its way with another round
}

void TimeTables::setPeriod(unsigned int period) {
  {
    const boost::lock_guard<boost::mutex> guard(timeMutex);
    owner->insertionPeriods().timeUpdater = period;
  }
  timeCondition.notify_one();
}

std::string TimeTables::updateUTC(long long utc, dvbpsi_psi_section_s* section) {
  for (int i = 0; i < kUtcSize; ++i)
    section->p_data[kUtcOffset + static_cast<std::size_t>(i)] =
        static_cast<std::uint8_t>(utc >> (8 * (kUtcSize - 1 - i)));
  if (section->i_table_id == kTotTableId) rewriteTotCrc(*section);
  std::string packets;
  packetize(kTimePid, 0, packets, section);
  return packets;
}

void TimeTables::timeUpdateFct() {
  Clock::time_point deadline = Clock::now();
  while (!stop.load()) {
    WaitLock lock(timeMutex);
    update();
    // From the previous deadline and not from now: the period holds however long the update takes.
    const Clock::time_point previous = deadline;
    do deadline = previous + boost::chrono::milliseconds(owner->insertionPeriods().timeUpdater);
    while (!stop.load() && timeCondition.wait_until(lock, deadline) != boost::cv_status::timeout);
  }
}

/// Sends the time if it is known and has changed.
void TimeTables::update() {
  if (IsSystemTimeSet() != 0) return;
  const long long utc = GetUTCTime();
  if (utc == lastUTCTime) return;
  lastUTCTime = utc;
  if (!timeQueue) return;
  std::string packets;
  if (tdtSections) packets += updateUTC(utc, tdtSections.get());
  if (totSections) packets += updateUTC(utc, totSections.get());
  timeQueue->queue_section(packets, classic::timeTablesRate(packets.size(), owner->insertionPeriods().timeUpdater));
}

void TimeTables::stopUpdating() {
  {
    const boost::lock_guard<boost::mutex> guard(timeMutex);
    stop.store(true);
  }
  timeCondition.notify_one();
}

void TimeTables::dropQueue() {
  std::unique_ptr<SectionQueue> dropped;
  const boost::lock_guard<boost::mutex> guard(timeMutex);
  dropped.swap(timeQueue);
}

void TimeTables::listOnAir(std::vector<TableOnAir>& tables) {
  const boost::lock_guard<boost::mutex> guard(timeMutex);
  const auto add = [&](const SectionChain& sections) SERVICEMUX_REQUIRES(timeMutex) {
    if (!sections) return;
    std::string packets;
    packetize(kTimePid, 0, packets, sections.get());
    tables.emplace_back(
        kTimePid, StreamedTable{owner->insertionPeriods().timeUpdater, factsOf(packets), timeQueue->sendings()});
  };
  add(tdtSections);
  add(totSections);
}

}  // namespace vantor
