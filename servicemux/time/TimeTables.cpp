#include "servicemux/time/TimeTables.h"

#include <pthread.h>

#include <algorithm>
#include <boost/thread/lock_guard.hpp>

#include "interface/converters/owned.h"
#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "servicemux/WaitLock.h"
#include "servicemux/muxer/UtcSecond.h"
#include "servicemux/muxer/classicRates.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/sections/sections.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/time/elapsedOfSecond.h"

namespace vantor {

namespace {

using Clock = boost::chrono::steady_clock;

// EN 300 468 clauses 5.2.5 and 5.2.6: UTC_time follows section_length.
constexpr std::size_t kUtcOffset = 3;
constexpr int kUtcSize = 5;

constexpr int kPriority = 97;  // below those that send

struct DescriptorDeleter {
  void operator()(dvbpsi_descriptor_t* descriptor) const { dvbpsi_DeleteDescriptors(descriptor); }
};

/// A table that tells the beginning of a second is to be ready then. Where the machine refuses the priority it has
/// a few milliseconds of reserve.
void becomePunctual(TimingProfile profile) {
  const bool isPunctual = profile == TimingProfile::Standards;
  sched_param parameters{};
  parameters.sched_priority = isPunctual ? kPriority : 0;
  pthread_setschedparam(pthread_self(), isPunctual ? SCHED_FIFO : SCHED_OTHER, &parameters);
}

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

void TimeTables::timeUpdateFct(const std::function<void()>& after) {
  Clock::time_point deadline = Clock::now();
  TimingProfile profile = TimingProfile::Classic;
  while (!stop.load()) {
    if (owner->timingProfile() != profile) becomePunctual((profile = owner->timingProfile()));
    after();
    WaitLock lock(timeMutex);
    Update last{deadline, Clock::now(), elapsedOfSecond()};
    last.isDone = isTime(last);
    if (last.isDone) update();
    do deadline = nextUpdate(last);
    while (!stop.load() && timeCondition.wait_until(lock, deadline) != boost::cv_status::timeout);
  }
}

/// With the classic timing it counts from the previous due time and not from the update itself: the period holds on
/// average, however long an update takes. With that of the standards a second is told at its beginning.
Clock::time_point TimeTables::nextUpdate(const Update& last) const {
  const boost::chrono::milliseconds period(owner->insertionPeriods().timeUpdater);
  if (owner->timingProfile() == TimingProfile::Classic) return last.due + period;
  return last.now + (last.isDone ? untilNextSecond(last.elapsed, period) : untilSecond(last.elapsed, period));
}

/// Whether what is told now is still true when it arrives: the clock may have been set while the updater slept.
bool TimeTables::isTime(const Update& update) const {
  const boost::chrono::milliseconds period(owner->insertionPeriods().timeUpdater);
  return owner->timingProfile() == TimingProfile::Classic ||
         untilSecond(update.elapsed, period) == boost::chrono::nanoseconds::zero();
}

/// Sends the time if it is known; with the classic timing only when it has changed.
void TimeTables::update() {
  if (IsSystemTimeSet() != 0) return;
  const long long utc = GetUTCTime();
  const bool isPrompt = owner->timingProfile() == TimingProfile::Standards;
  if (utc == lastUTCTime && !isPrompt) return;
  lastUTCTime = utc;
  if (!timeQueue) return;
  std::string packets;
  if (tdtSections) packets += updateUTC(utc, tdtSections.get());
  if (totSections) packets += updateUTC(utc, totSections.get());
  if (isPrompt) timeQueue->SetRate(0);
  const unsigned int period = owner->insertionPeriods().timeUpdater;
  timeQueue->queue_section(packets, isPrompt ? 0 : classic::timeTablesRate(packets.size(), period));
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
