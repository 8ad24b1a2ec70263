#include "servicemux/streams/SimpleTable.h"

#include <boost/thread/lock_guard.hpp>
#include <cstring>

#include "interface/psi/packet.h"
#include "servicemux/packetize/packetize.h"

namespace vantor {

namespace {

constexpr std::uint64_t kNanosecondsPerMillisecond = 1000000;

}  // namespace

SimpleTable::SimpleTable(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned int period)
    : muxed_stream(muxer, pid, true, kNoCC), period(period) {}

SimpleTable::~SimpleTable() { unlinkFromMuxer(); }

void SimpleTable::SetPeriod(unsigned int newPeriod) {
  const boost::lock_guard<boost::mutex> guard(lock);
  period = newPeriod;
  recalculate_timing();
}

void SimpleTable::new_packetized_table(std::string& newPackets) {
  if (newPackets.empty()) {
    clear_packetized_table();
    return;
  }
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    packets.swap(newPackets);
    readOffset = 0;
    dueTime = boost::chrono::steady_clock::now();
    repetition = {};
    recalculate_timing();
  }
  linkToMuxer();
}

void SimpleTable::new_packetized_table_with_metadata(std::string& newPackets, unsigned char newVersion,
                                                     unsigned int newSize) {
  version.store(newVersion);
  size.store(newSize);
  new_packetized_table(newPackets);
}

int SimpleTable::clear_packetized_table() {
  unlinkFromMuxer();
  const boost::lock_guard<boost::mutex> guard(lock);
  packets.clear();
  readOffset = 0;
  size.store(0);
  return 0;
}

unsigned char SimpleTable::metadataVersion() const { return version.load(); }

unsigned int SimpleTable::metadataSize() const { return size.load(); }

StreamedTable SimpleTable::onAir() {
  StreamedTable sent;
  std::string copy;  // looked at when the producer does not wait for it
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    sent.period = period;
    sent.repetition = repetition;
    copy = packets;
  }
  sent.facts = factsOf(copy);
  return sent;
}

unsigned int SimpleTable::getBitrate() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return bitrate;
}

int SimpleTable::get_packet(signed char* packet, time_point now, time_point& next) {
  const boost::lock_guard<boost::mutex> guard(lock);
  if (packets.empty()) return 0;
  int result = 0;
  if (now >= dueTime) {
    if (readOffset == 0) repetition.begin(now);
    std::memcpy(packet, packets.data() + readOffset, kPacketSize);
    readOffset += kPacketSize;
    if (readOffset >= packets.size()) readOffset = 0;
    // From the previous due time and not from now: the average holds when the producer comes late.
    dueTime += boost::chrono::nanoseconds(packetInterval);
    restamp_cc(packet);
    result = 1;
  }
  if (dueTime < next) next = dueTime;
  return result;
}

/// Spreads the packets over the period (lock held). The 32-bit arithmetic is kept for compatibility.
void SimpleTable::recalculate_timing() {
  bitrate = 0;
  packetInterval = 0;
  if (packets.empty() || period == 0) return;
  const auto bytes = static_cast<std::uint32_t>(packets.size());
  bitrate = bytes * 8000U / period;
  const std::uint32_t packetPeriods = static_cast<std::uint32_t>(kPacketSize) * period;
  packetInterval = packetPeriods * kNanosecondsPerMillisecond / bytes;
}

}  // namespace vantor
