#include "servicemux/muxer/VBRmuxer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "interface/host.h"
#include "servicemux/WaitLock.h"
#include "servicemux/muxer/SocketSink.h"
#include "servicemux/muxer/packetTime.h"
#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;

constexpr unsigned int kRingSize = 128;             // a power of two, so that a slot index is a mask away
constexpr unsigned int kMaxPacketsPerDatagram = 7;  // 1316 bytes, within an Ethernet payload
constexpr unsigned int kMaxBitrate = 100000;        // kbit/s

constexpr milliseconds kLongestIdle{500};
constexpr milliseconds kFlushGap{25};
constexpr milliseconds kLongestTurn{2};  // of a caller
constexpr seconds kAlivePeriod{10};
constexpr milliseconds kAhead{2};  // how far the slots of packets that leave together may be apart

/// Of streams that share their PIDs. Not with a mutex held.
void tell(const SharedPids::Changes& changes) {
  for (const SharedPids::Change& change : changes)
    if (change.isSilent)
      log_function(
          HOST_LOG_WARNING, 0,
          "PID 0x%04x: its whole sections stay off air with the classic timing while other tables are there",
          change.pid);
    else
      log_function(HOST_LOG_WARNING, 0, "PID 0x%04x: its whole sections are on air again", change.pid);
}

}  // namespace

/// The stream-list mutex, held by a caller. A producer that has stepped back for the sake of waiting callers goes
/// on behind the first one that gets here.
class SERVICEMUX_SCOPED_LOCK VBRmuxer::CallerLock {
 public:
  explicit CallerLock(VBRmuxer& muxer) SERVICEMUX_ACQUIRE(muxer.streamListMutex) : muxer(muxer) {
    muxer.callersWaiting.fetch_add(1);
    muxer.streamListMutex.lock();
    muxer.callersWaiting.fetch_sub(1);
    if (muxer.callersTurn.exchange(false)) muxer.producerCondition.notify_one();
  }
  CallerLock(const CallerLock&) = delete;
  CallerLock& operator=(const CallerLock&) = delete;
  ~CallerLock() SERVICEMUX_RELEASE() { muxer.streamListMutex.unlock(); }

 private:
  VBRmuxer& muxer;
};

VBRmuxer::VBRmuxer(int& socket, sockaddr* destination, unsigned int bitrate, unsigned int packetsPerDatagram)
    : VBRmuxer(std::make_unique<SocketSink>(socket, destination), nullptr, bitrate, packetsPerDatagram) {}

VBRmuxer::VBRmuxer(DatagramSink& sink, unsigned int bitrate, unsigned int packetsPerDatagram)
    : VBRmuxer(nullptr, &sink, bitrate, packetsPerDatagram) {}

VBRmuxer::VBRmuxer(std::unique_ptr<DatagramSink> own, DatagramSink* handedIn, unsigned int bitrate,
                   unsigned int packetsPerDatagram)
    : packetsPerDatagram(std::clamp(packetsPerDatagram, 1U, kMaxPacketsPerDatagram)),
      ownSink(std::move(own)),
      sink(handedIn != nullptr ? *handedIn : *ownSink),
      ring(kRingSize),
      ringMask(kRingSize - 1),
      unread(kRingSize) {
  SetBitrate(bitrate);
}

VBRmuxer::~VBRmuxer() { streams.clear(); }

void VBRmuxer::SetBitrate(unsigned int kbps) {
  const unsigned int ceiling = std::clamp(kbps, 1U, kMaxBitrate);
  bitrate.store(ceiling);
  packetInterval.store(kNanosecondsTimesKbps / ceiling);
  if (profile.load() == TimingProfile::Standards) wakeProducer();
}

void VBRmuxer::setTimingProfile(TimingProfile newProfile) {
  profile.store(newProfile);
  wakeProducer();
}

void VBRmuxer::setDatagramWait(unsigned int ms) {
  datagramWait.store(ms);
  if (profile.load() == TimingProfile::Standards) wakeProducer();
}

void VBRmuxer::wakeProducer() {
  const CallerLock lock(*this);
  reschedule.store(true);
  producerCondition.notify_one();
}

std::vector<TableNeed> VBRmuxer::needs() {
  const CallerLock lock(*this);
  return pace.needs();
}

void VBRmuxer::muxerStop() {
  {
    const CallerLock producerWaits(*this);
    const boost::lock_guard<boost::mutex> consumerWaits(consumerMutex);
    stop.store(true);
  }
  producerCondition.notify_one();
  consumerCondition.notify_one();
  consumerIsDone.notify_one();
}

MuxerStatistics VBRmuxer::statistics() const {
  return {packets.get(),       datagrams.get(),      bytesSent.get(), sendErrors.get(),
          ringFullSlots.get(), packetsOverrun.get(), required.load(), stretch.load()};
}

void VBRmuxer::link(muxed_stream& stream) {
  SharedPids::Changes changes;
  {
    const CallerLock lock(*this);
    if (!stream.is_linked()) {
      streams.push_back(stream);
      if (stream.isGuest()) shared.add(stream.packetPid());
      if (isPaced)
        putOnAir(stream, Clock::now());
      else if (shared.has(stream.packetPid()))
        shared.joined(stream, linkedOn(stream.packetPid()));
      changes = sharingChanges();
    }
    reschedule.store(true);
    producerCondition.notify_one();
  }
  tell(changes);
}

void VBRmuxer::unlink(muxed_stream& stream) {
  SharedPids::Changes changes;
  {
    const CallerLock lock(*this);
    if (!stream.is_linked()) return;
    streams.erase(streams.iterator_to(stream));
    if (isPaced) {
      for (PacedTable* const table : stream.pacedTables()) pace.remove(*table);
      publishFit();
    } else if (shared.has(stream.packetPid())) {
      shared.left(stream, linkedOn(stream.packetPid()));
      reschedule.store(true);
      producerCondition.notify_one();
    }
    changes = sharingChanges();
  }
  tell(changes);
}

bool VBRmuxer::isTaken(unsigned short pid) {
  const CallerLock lock(*this);
  return std::any_of(streams.begin(), streams.end(),
                     [pid](const muxed_stream& stream) { return stream.packetPid() == pid && !stream.isGuest(); });
}

SharedPids::Streams VBRmuxer::allLinked() {
  SharedPids::Streams all;
  for (muxed_stream& stream : streams) all.push_back(&stream);
  return all;
}

SharedPids::Streams VBRmuxer::linkedOn(unsigned short pid) {
  SharedPids::Streams some;
  for (muxed_stream& stream : streams)
    if (stream.packetPid() == pid) some.push_back(&stream);
  return some;
}

SharedPids::Changes VBRmuxer::sharingChanges() { return shared.take(profile.load() == TimingProfile::Classic); }

void VBRmuxer::announce(muxed_stream& stream, PacedTable& table) {
  if (profile.load() == TimingProfile::Classic) return;
  const CallerLock lock(*this);
  if (!isPaced || !stream.is_linked()) return;
  pace.put(table, stream, Clock::now());
  publishFit();
  reschedule.store(true);
  producerCondition.notify_one();
}

void VBRmuxer::announcePeriod(PacedTable& table) {
  if (profile.load() == TimingProfile::Classic) return;
  const CallerLock lock(*this);
  if (!isPaced) return;
  pace.changePeriod(table, Clock::now());
  publishFit();
  reschedule.store(true);
  producerCondition.notify_one();
}

void VBRmuxer::withdraw(PacedTable& table) {
  const CallerLock lock(*this);
  pace.remove(table);
  publishFit();
}

void VBRmuxer::publishFit() {
  required.store(isPaced ? pace.required() : 0);
  stretch.store(isPaced ? pace.stretch() : 1);
}

// --- Producer ---------------------------------------------------------------------------------------------------

/// The watchdog's view of the producer.
class VBRmuxer::Watchdog {
 public:
  Watchdog() : task(watchdog_register_task()) {
    if (task == 0) log_function(HOST_LOG_ERROR, 0, "Couldn't register task for WD");
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog() {
    if (watchdog_unregister_task(task) != 0) log_function(HOST_LOG_WARNING, 0, "Couldn't unregister task for WD");
  }

  /// It counts from here.
  void begin(time_point now) { lastAlive = now; }

  void alive(time_point now) {
    if (now - lastAlive <= kAlivePeriod) return;
    thread_alive(task);
    lastAlive = now;
  }

 private:
  const unsigned int task;
  time_point lastAlive;
};

void VBRmuxer::muxerRun() {
  Watchdog watchdog;
  while (!stop.load()) {
    if (profile.load() == TimingProfile::Classic)
      produceClassic(watchdog);
    else
      produceStandards(watchdog);
  }
}

void VBRmuxer::produceClassic(Watchdog& watchdog) {
  time_point slotClock = Clock::now();
  watchdog.begin(slotClock);
  while (!stop.load() && profile.load() == TimingProfile::Classic) {
    WaitLock lock(streamListMutex);
    letCallerIn(lock);
    if (!waitForSlot(lock, slotClock)) return;
    if (reschedule.exchange(false)) slotClock = Clock::now();
    if (ringFull()) {
      ringFullSlots.add(1);
      consumerCondition.notify_one();  // on its way into its wait it may have missed the news of every packet
      slotClock += slotInterval();
      continue;
    }
    time_point earliestDue = slotClock + kLongestIdle;
    pollStreams(slotClock, earliestDue);
    watchdog.alive(slotClock);
    if (slotClock < earliestDue) idleUntil(slotClock, earliestDue);
  }
}

/// Steps back until a waiting caller has had the mutex. A producer that is behind its slot clock does not sleep and
/// would take the mutex again before any caller wakes up. No wake-up is lost: a caller is counted until it holds
/// the mutex, so the one that was seen here is still to come, and it ends the turn and notifies under the mutex.
/// The turn has an end of its own, so that a caller which gets no processor time does not hold up what is on air.
void VBRmuxer::letCallerIn(boost::unique_lock<boost::mutex>& lock) {
  if (callersWaiting.load() == 0) return;
  callersTurn.store(true);
  const time_point end = Clock::now() + kLongestTurn;
  while (callersTurn.load() && producerCondition.wait_until(lock, end) != boost::cv_status::timeout) {
  }
  callersTurn.store(false);
}

/// Sleeps to the slot time or to the next link; false once the muxer is stopped. A slot time that has passed is not
/// waited for: the kernel would take longer over it than a slot lasts at high rates.
bool VBRmuxer::waitForSlot(boost::unique_lock<boost::mutex>& lock, time_point slotClock) {
  while (!stop.load() && !reschedule.load()) {
    boost::this_thread::interruption_point();
    if (Clock::now() >= slotClock) break;
    if (producerCondition.wait_until(lock, slotClock) == boost::cv_status::timeout) break;
  }
  return !stop.load();
}

/// Offers every stream one packet slot; a later stream sees the slot time that the earlier ones left.
void VBRmuxer::pollStreams(time_point& slotClock, time_point& earliestDue) {
  for (muxed_stream& stream : streams) {
    if (stream.isSilent() || !pollStream(stream, slotClock, earliestDue)) continue;
    ++writeIndex;
    slotClock += slotInterval();
    packets.add(1);
    filled.fetch_add(1);
    consumerCondition.notify_one();
  }
}

/// Offers one stream the ring's next slot. The ring is checked for room once a pass, so a pass over many streams
/// can come to slots that are still unsent. The oldest packets are given up then, but only for a packet that is
/// there: while the ring is full a stream writes into a spare one first.
bool VBRmuxer::pollStream(muxed_stream& stream, time_point slotClock, time_point& earliestDue) {
  const unsigned int slot = writeIndex & ringMask;
  if (ringFull()) {
    if (stream.get_packet(spare.bytes, slotClock, earliestDue) == 0) return false;
    overwrite(slot);
  } else {
    if (stream.get_packet(ring[slot].bytes, slotClock, earliestDue) == 0) return false;
    unread[slot].store(true);
  }
  return true;
}

/// Puts the spare packet into a slot that the consumer may be about to read. When the consumer is just copying the
/// slot the producer waits for the end of that copy; the consumer passes over a slot that it finds being
/// overwritten. The consumer never waits here, since its priority is above the producer's.
void VBRmuxer::overwrite(unsigned int slot) {
  slotBeingOverwritten.store(slot);
  while (slotBeingRead.load() == slot) std::this_thread::yield();
  // Nothing is lost when the consumer has been here meanwhile, or has sent this packet early in an older one's
  // place.
  if (unread[slot].exchange(true)) packetsOverrun.add(1);
  ring[slot] = spare;
  slotBeingOverwritten.store(kNoSlot);
}

/// Jumps to the earliest due time; before a long gap the consumer is told to send what it holds.
void VBRmuxer::idleUntil(time_point& slotClock, time_point earliestDue) {
  if (earliestDue - slotClock > kFlushGap) {
    const boost::lock_guard<boost::mutex> lock(consumerMutex);
    flush.store(true);
    consumerCondition.notify_one();
  }
  slotClock = earliestDue;
}

nanoseconds VBRmuxer::slotInterval() const { return nanoseconds(packetInterval.load()); }

bool VBRmuxer::ringFull() const { return filled.load() >= ring.size(); }

// --- Producer, with the timing of the standards -----------------------------------------------------------------

void VBRmuxer::produceStandards(Watchdog& watchdog) {
  takeOver();
  beginDeadlines();
  time_point sent = Clock::now();
  watchdog.begin(sent);
  while (!stop.load() && chooseDatagrams(sent)) {
    sendBatch();
    sent = Clock::now();
    watchdog.alive(sent);
  }
  endDeadlines(sent);
}

void VBRmuxer::endDeadlines(time_point sent) {
  SharedPids::Changes changes;
  {
    const CallerLock lock(*this);
    isPaced = false;
    shared.end(pace, allLinked());
    pace.clear(sent);
    publishFit();
    for (muxed_stream& stream : streams) stream.beginClassic(sent);
    if (!stop.load()) changes = sharingChanges();
  }
  tell(changes);
}

/// Waits until all that is in the ring has left: from then on the consumer does not touch the sink.
void VBRmuxer::takeOver() {
  WaitLock lock(consumerMutex);
  while (!stop.load() && (filled.load() != 0 || consumerHolds.load())) {
    flush.store(true);
    consumerCondition.notify_one();
    consumerIsDone.wait(lock);
  }
}

void VBRmuxer::beginDeadlines() {
  SharedPids::Changes changes;
  {
    const CallerLock lock(*this);
    const time_point now = Clock::now();
    pace.clear(now);
    shared.begin(pace, allLinked());
    isPaced = true;
    pacedBitrate = pacedWait = 0;
    adoptSettings(now);
    if (packets.get() != 0) pace.fillUntil(now + classicAhead());
    for (muxed_stream& stream : streams) putOnAir(stream, now);
    changes = sharingChanges();
  }
  tell(changes);
}

/// How far the classic timing may be ahead of its slots: by a packet of each stream.
nanoseconds VBRmuxer::classicAhead() const {
  return std::min<nanoseconds>(slotInterval() * streams.size(), standards::kBurst);
}

void VBRmuxer::putOnAir(muxed_stream& stream, time_point now) {
  for (PacedTable* const table : stream.pacedTables()) pace.put(*table, stream, now);
  publishFit();
}

void VBRmuxer::adoptSettings(time_point now) {
  const unsigned int kbps = bitrate.load();
  const unsigned int wait = datagramWait.load();
  if (kbps == pacedBitrate && wait == pacedWait) return;
  pacedBitrate = kbps;
  pacedWait = wait;
  pace.setDatagrams(milliseconds(wait), packetsPerDatagram, now);
  pace.setCeiling(kbps, now);
  publishFit();
}

/// Sleeps until a datagram is to leave and chooses its packets, or finds none because something has changed. What
/// was chosen before has left at `sent`. False when it is to end: the muxer is stopped, or the timing is another
/// one and no section is left half sent.
bool VBRmuxer::chooseDatagrams(time_point sent) {
  WaitLock lock(streamListMutex);
  letCallerIn(lock);
  pace.sentAt(sent);
  adoptSettings(sent);
  const bool isOver = profile.load() == TimingProfile::Classic;
  pace.finish(isOver);
  if (isOver && !pace.isUnderWay()) return false;
  const time_point departure = pace.nextDeparture();
  batch.clear();
  if (!waitForSlot(lock, std::min(departure, sent + kLongestIdle))) return false;
  reschedule.store(false);
  const time_point now = Clock::now();
  if (now < departure) return true;
  std::size_t chosen = 0;
  do {
    chosen = pace.choose(now, kAhead, batch.next());
    if (chosen == 0) break;
    batch.add(chosen);
    packets.add(chosen);
  } while (chosen == packetsPerDatagram && !batch.isFull() && pace.nextDeparture() <= now + kAhead);
  return true;
}

void VBRmuxer::sendBatch() {
  const auto* next = batch.begin();
  while (next != batch.end()) {
    const std::size_t taken = batch.end() - next > 1 ? sink.sendAll(next, batch.end()) : 0;
    for (const auto* const last = next + taken; next != last; ++next) countSent(next->size);
    if (next == batch.end()) return;
    send(next->bytes, next->size);
    ++next;
  }
}

// --- Consumer ---------------------------------------------------------------------------------------------------

void VBRmuxer::consumerRun() {
  std::vector<char> datagram(packetsPerDatagram * kPacketSize);
  std::size_t fill = 0;
  bool flushPending = false;
  while (waitForPackets(flushPending)) {
    gather(datagram, fill);
    const bool full = fill == datagram.size();
    if (full || (flushPending && fill > 0)) {
      send(datagram.data(), fill);
      fill = 0;
    }
    if (fill == 0) nothingHeld();
    if (!full || filled.load() == 0) flushPending = false;
  }
}

/// Sleeps until there is a packet to take or a flush to do; false once the muxer is stopped.
bool VBRmuxer::waitForPackets(bool& flushPending) {
  WaitLock lock(consumerMutex);
  while (!stop.load() && filled.load() == 0 && !flush.load()) consumerCondition.wait(lock);
  if (stop.load()) return false;
  if (flush.exchange(false)) flushPending = true;
  return true;
}

void VBRmuxer::gather(std::vector<char>& datagram, std::size_t& fill) {
  while (fill < datagram.size() && filled.load() != 0) {
    consumerHolds.store(true);
    if (takePacket(datagram.data() + fill)) fill += kPacketSize;
  }
}

/// Tells a producer that wants to take over.
void VBRmuxer::nothingHeld() {
  if (!consumerHolds.exchange(false)) return;
  if (profile.load() == TimingProfile::Classic) return;
  const boost::lock_guard<boost::mutex> lock(consumerMutex);
  consumerIsDone.notify_one();
}

/// Copies the ring's oldest packet and frees its slot; false when that packet was just being overwritten.
bool VBRmuxer::takePacket(char* to) {
  const unsigned int slot = readIndex & ringMask;
  slotBeingRead.store(slot);
  const bool overwritten = slotBeingOverwritten.load() == slot;
  if (!overwritten) {
    std::memcpy(to, ring[slot].bytes, kPacketSize);
    unread[slot].store(false);
  }
  slotBeingRead.store(kNoSlot);
  ++readIndex;
  filled.fetch_sub(1);
  return !overwritten;
}

/// A lost datagram is not sent again: by then its packets would be late.
void VBRmuxer::send(const void* datagram, std::size_t size) {
  const ssize_t sent = sink.send(datagram, size);
  if (sent == static_cast<ssize_t>(size)) {
    countSent(size);
    return;
  }
  sendErrors.add(1);
  if (sent < 0 && errno == 0) return;  // the sink tells it itself
  if (sent < 0)
    log_function(HOST_LOG_ERROR, 0, "Could not write %u bytes to socket: %zd (%d: %s)", static_cast<unsigned>(size),
                 sent, errno, std::strerror(errno));
  else
    log_function(HOST_LOG_ERROR, 0, "Could not write %u bytes to socket: %zd", static_cast<unsigned>(size), sent);
}

void VBRmuxer::countSent(std::size_t size) {
  datagrams.add(1);
  bytesSent.add(size);
}

}  // namespace vantor
