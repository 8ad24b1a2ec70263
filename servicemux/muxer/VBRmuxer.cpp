#include "servicemux/muxer/VBRmuxer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "interface/host.h"
#include "servicemux/WaitLock.h"
#include "servicemux/muxer/SocketSink.h"

namespace vantor {

namespace {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;

constexpr unsigned int kRingSize = 128;                     // a power of two, so that a slot index is a mask away
constexpr unsigned int kMaxPacketsPerDatagram = 7;          // 1316 bytes, within an Ethernet payload
constexpr unsigned int kMaxBitrate = 100000;                // kbit/s
constexpr unsigned int kNanosecondsTimesKbps = 1504000000;  // 188 bytes of 8 bits at 1 kbit/s, in ns

constexpr milliseconds kLongestIdle{500};
constexpr milliseconds kFlushGap{25};
constexpr milliseconds kLongestTurn{2};  // of a caller
constexpr seconds kAlivePeriod{10};

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
}

void VBRmuxer::setTimingProfile(TimingProfile newProfile) { profile.store(newProfile); }

void VBRmuxer::setDatagramWait(unsigned int ms) { datagramWait.store(ms); }

void VBRmuxer::muxerStop() {
  {
    const CallerLock producerWaits(*this);
    const boost::lock_guard<boost::mutex> consumerWaits(consumerMutex);
    stop.store(true);
  }
  producerCondition.notify_one();
  consumerCondition.notify_one();
}

MuxerStatistics VBRmuxer::statistics() const {
  return {packets.get(),    datagrams.get(),     bytesSent.get(),
          sendErrors.get(), ringFullSlots.get(), packetsOverrun.get()};
}

void VBRmuxer::link(muxed_stream& stream) {
  const CallerLock lock(*this);
  if (!stream.is_linked()) streams.push_back(stream);
  reschedule.store(true);
  producerCondition.notify_one();
}

void VBRmuxer::unlink(muxed_stream& stream) {
  const CallerLock lock(*this);
  if (stream.is_linked()) streams.erase(streams.iterator_to(stream));
}

// --- Producer ---------------------------------------------------------------------------------------------------

void VBRmuxer::muxerRun() {
  const unsigned int watchdog = watchdog_register_task();
  if (watchdog == 0) log_function(HOST_LOG_ERROR, 0, "Couldn't register task for WD");
  produce(watchdog);
  if (watchdog_unregister_task(watchdog) != 0) log_function(HOST_LOG_WARNING, 0, "Couldn't unregister task for WD");
}

void VBRmuxer::produce(unsigned int watchdog) {
  time_point slotClock = Clock::now();
  time_point lastAlive = slotClock;
  while (!stop.load()) {
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
    if (slotClock - lastAlive > kAlivePeriod) {
      thread_alive(watchdog);
      lastAlive = slotClock;
    }
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
    if (!pollStream(stream, slotClock, earliestDue)) continue;
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

// --- Consumer ---------------------------------------------------------------------------------------------------

void VBRmuxer::consumerRun() {
  std::vector<char> datagram(packetsPerDatagram * kPacketSize);
  std::size_t fill = 0;
  bool flushPending = false;
  while (waitForPackets(flushPending)) {
    gather(datagram, fill);
    const bool full = fill == datagram.size();
    if (full || (flushPending && fill > 0)) send(datagram, fill);
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
    if (takePacket(datagram.data() + fill)) fill += kPacketSize;
  }
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

/// Sends the datagram and empties it. A lost datagram is not sent again: by then its packets would be late.
void VBRmuxer::send(const std::vector<char>& datagram, std::size_t& fill) {
  const ssize_t sent = sink.send(datagram.data(), fill);
  if (sent == static_cast<ssize_t>(fill)) {
    datagrams.add(1);
    bytesSent.add(fill);
  } else {
    sendErrors.add(1);
    if (sent < 0)
      log_function(HOST_LOG_ERROR, 0, "Could not write %u bytes to socket: %zd (%d: %s)",
                   static_cast<unsigned>(fill), sent, errno, std::strerror(errno));
    else
      log_function(HOST_LOG_ERROR, 0, "Could not write %u bytes to socket: %zd", static_cast<unsigned>(fill), sent);
  }
  fill = 0;
}

}  // namespace vantor
