#include "servicemux/muxer/VBRmuxer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "interface/host.h"
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
constexpr seconds kAlivePeriod{10};

}  // namespace

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
      ringMask(kRingSize - 1) {
  SetBitrate(bitrate);
}

VBRmuxer::~VBRmuxer() { streams.clear(); }

void VBRmuxer::SetBitrate(unsigned int kbps) {
  const unsigned int ceiling = std::clamp(kbps, 1U, kMaxBitrate);
  bitrate.store(ceiling);
  packetInterval.store(kNanosecondsTimesKbps / ceiling);
}

void VBRmuxer::muxerStop() {
  {
    const boost::lock_guard<boost::mutex> producerWaits(streamListMutex);
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
  const boost::lock_guard<boost::mutex> lock(streamListMutex);
  if (!stream.is_linked()) streams.push_back(stream);
  reschedule.store(true);
  producerCondition.notify_one();
}

void VBRmuxer::unlink(muxed_stream& stream) {
  const boost::lock_guard<boost::mutex> lock(streamListMutex);
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
    boost::unique_lock<boost::mutex> lock(streamListMutex);
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
/// can come to slots that are still unsent: the oldest packets are given up then. While the consumer is just
/// copying such a slot the producer waits for the end of that copy, and the consumer passes over a slot that it
/// finds being overwritten. The consumer never waits here, since its priority is above the producer's.
bool VBRmuxer::pollStream(muxed_stream& stream, time_point slotClock, time_point& earliestDue) {
  const unsigned int slot = writeIndex & ringMask;
  if (!ringFull()) return stream.get_packet(ring[slot].bytes, slotClock, earliestDue) != 0;

  slotBeingOverwritten.store(slot);
  while (slotBeingRead.load() == slot) std::this_thread::yield();
  const bool written = stream.get_packet(ring[slot].bytes, slotClock, earliestDue) != 0;
  slotBeingOverwritten.store(kNoSlot);
  if (written) packetsOverrun.add(1);
  return written;
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
  boost::unique_lock<boost::mutex> lock(consumerMutex);
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
  if (!overwritten) std::memcpy(to, ring[slot].bytes, kPacketSize);
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
