#include "servicemux/streams/SectionQueue.h"

#include <boost/thread/lock_guard.hpp>
#include <cstring>

#include "interface/psi/packet.h"

namespace vantor {

namespace {

constexpr std::uint64_t kNanosecondsTimesBps = 1504000000000;  // 188 bytes of 8 bits at 1 bit/s, in ns

}  // namespace

SectionQueue::SectionQueue(const std::shared_ptr<VBRmuxer>& muxer, unsigned short pid, unsigned int rate)
    : muxed_stream(muxer, pid, true, kNoCC), rate(rate) {
  recalculate_timing();
}

SectionQueue::~SectionQueue() { unlinkFromMuxer(); }

void SectionQueue::SetRate(unsigned int newRate) {
  const boost::lock_guard<boost::mutex> guard(lock);
  rate = newRate;
  recalculate_timing();
}

void SectionQueue::queue_section(const std::string& data, unsigned int newRate) {
  if (data.empty()) return;
  Items added{{data, newRate}};
  Items gone;  // freed when the lock is free again
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    if (queue.empty()) {
      readOffset = 0;
      dueTime = boost::chrono::steady_clock::now();
      adoptRate(newRate);
    }
    queue.splice(queue.end(), added);
    gone.swap(sent);
  }
  linkToMuxer();
}

void SectionQueue::clear_queue() {
  unlinkFromMuxer();
  Items gone;
  Items dropped;
  const boost::lock_guard<boost::mutex> guard(lock);
  readOffset = 0;
  begun = {};
  gone.swap(sent);
  dropped.swap(queue);
}

Repetition SectionQueue::sendings() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return begun;
}

unsigned int SectionQueue::getBitrate() {
  const boost::lock_guard<boost::mutex> guard(lock);
  return rate;
}

int SectionQueue::get_packet(signed char* packet, time_point now, time_point& next) {
  const boost::lock_guard<boost::mutex> guard(lock);
  if (queue.empty()) return 0;
  int result = 0;
  if (now >= dueTime) {
    if (readOffset == 0) begun.begin(now);
    takePacket(packet);
    // From the previous due time and not from now: the average holds when the producer comes late.
    dueTime += boost::chrono::nanoseconds(packetInterval);
    restamp_cc(packet);
    result = 1;
  }
  if (dueTime < next) next = dueTime;
  return result;
}

/// Takes the front item's next packet (lock held). An item that is through only changes lists: this is the packet
/// path, which frees no memory.
void SectionQueue::takePacket(signed char* packet) {
  const queued_data& front = queue.front();
  std::memcpy(packet, front.data.data() + readOffset, kPacketSize);
  readOffset += kPacketSize;
  if (readOffset < front.data.size()) return;
  sent.splice(sent.end(), queue, queue.begin());
  readOffset = 0;
  adoptRate(front.rate);
}

/// Lock held.
void SectionQueue::adoptRate(unsigned int newRate) {
  if (newRate == 0 || newRate == rate) return;
  rate = newRate;
  recalculate_timing();
}

/// To the nearest nanosecond (lock held).
void SectionQueue::recalculate_timing() {
  packetInterval = rate == 0 ? 0 : (kNanosecondsTimesBps + rate / 2) / rate;
}

}  // namespace vantor
