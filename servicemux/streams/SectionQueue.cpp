#include "servicemux/streams/SectionQueue.h"

#include <algorithm>
#include <array>
#include <boost/thread/lock_guard.hpp>

#include "interface/psi/packet.h"
#include "servicemux/muxer/classicRates.h"

namespace vantor {

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
  std::string copy = data;
  Items added(1);
  added.front().data.swap(copy);
  added.front().rate = newRate;
  Items gone;  // freed when the lock is free again
  {
    const boost::lock_guard<boost::mutex> guard(lock);
    if (queue.empty()) {
      pace.begin(boost::chrono::steady_clock::now());
      adoptRate(newRate);
    }
    queue.splice(queue.end(), added);
    gone.swap(sent);
  }
  linkToMuxer();
  announce(paced);
}

void SectionQueue::clear_queue() {
  unlinkFromMuxer();
  Items gone;
  Items dropped;
  const boost::lock_guard<boost::mutex> guard(lock);
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
  const bool sent = pace.offer(now, next, [&]() SERVICEMUX_REQUIRES(lock) {
    if (queue.front().data.isAtBeginning()) begun.begin(now);
    takePacket(packet);
    restamp_cc(packet);
    return true;
  });
  return sent ? 1 : 0;
}

/// Takes the front item's next packet. An item that is through only changes lists: this is the packet
/// path, which frees no memory.
void SectionQueue::takePacket(signed char* packet) {
  queued_data& front = queue.front();
  front.data.take(packet);
  if (!front.data.isAtBeginning()) return;
  sent.splice(sent.end(), queue, queue.begin());
  adoptRate(front.rate);
}

void SectionQueue::beginClassic(time_point now) {
  const boost::lock_guard<boost::mutex> guard(lock);
  pace.begin(now);
}

TableLayout SectionQueue::layoutOf(PacedTable& table) {
  const boost::lock_guard<boost::mutex> guard(lock);
  table.setInterval(interval());
  TableLayout layout;
  layout.kind = TableLayout::Kind::kQueued;
  if (!queue.empty()) {
    const std::vector<std::uint32_t> packets = queue.back().data.sectionPackets();
    layout.packets.assign(1, *std::max_element(packets.begin(), packets.end()));
  }
  return layout;
}

bool SectionQueue::takeSection(PacedTable& table, std::size_t, time_point now, std::string& packets) {
  const boost::lock_guard<boost::mutex> guard(lock);
  if (queue.empty()) return false;
  if (queue.front().data.isAtBeginning()) begun.begin(now);
  std::array<signed char, kPacketSize> packet;
  do {
    takePacket(packet.data());
    packets.append(reinterpret_cast<const char*>(packet.data()), packet.size());
  } while (!queue.empty() && !queue.front().data.isAtBeginning() && !queue.front().data.beginsSection());
  table.setInterval(interval());
  table.setRepeats(rate == 0 && (queue.empty() || queue.front().data.isAtBeginning()));
  return true;
}

/// A little less than the rate asks for, because a packet may wait for its datagram.
boost::chrono::nanoseconds SectionQueue::interval() const {
  return boost::chrono::nanoseconds(classic::queueInterval(rate) * 19 / 20);
}

void SectionQueue::adoptRate(unsigned int newRate) {
  if (newRate == 0 || newRate == rate) return;
  rate = newRate;
  recalculate_timing();
}

void SectionQueue::recalculate_timing() { pace.setInterval(classic::queueInterval(rate)); }

}  // namespace vantor
