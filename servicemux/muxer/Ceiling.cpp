#include "servicemux/muxer/Ceiling.h"

#include <algorithm>

#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

constexpr unsigned int kBitsOfAPacket = 1504;
/// At 1 kbit/s a bit takes a millisecond.
constexpr boost::chrono::nanoseconds kPacketAtOneKbps = boost::chrono::milliseconds(kBitsOfAPacket);

/// A second and a little more, because a packet leaves a little after it was taken.
constexpr boost::chrono::nanoseconds kWindow = boost::chrono::microseconds(1000200);

constexpr std::size_t kPartKept = 10;

/// A sender that wakes up late makes up for so much.
constexpr boost::chrono::milliseconds kMadeUp{2};

}  // namespace

Ceiling::nanoseconds Ceiling::slotAt(unsigned int kbps) { return kPacketAtOneKbps / kbps; }

void Ceiling::set(unsigned int kbps) {
  interval = slotAt(kbps);
  std::vector<time_point> resized(std::max(1U, kbps * 1000 / kBitsOfAPacket));
  // The newest of what has left stands at the end, just before the place that is used next.
  const std::size_t count = std::min(resized.size(), history.size());
  for (std::size_t i = 1; i <= count; ++i)
    resized[resized.size() - i] = history[(oldest + history.size() - i) % history.size()];
  history.swap(resized);
  oldest = 0;
  kept = std::min<std::size_t>(history.size() / kPartKept, standards::kMostKept);
}

Ceiling::time_point Ceiling::nextPressing() const { return next(standards::kBurst, 0); }

/// So that within a second so many others may still leave.
Ceiling::time_point Ceiling::next(nanoseconds ahead, std::size_t others) const {
  return std::max(slotClock - ahead, history[(oldest + others) % history.size()] + kWindow);
}

void Ceiling::take(time_point now) {
  slotClock = std::max(slotClock, now - kMadeUp) + interval;
  history[oldest] = now;
  if (++oldest == history.size()) oldest = 0;
}

}  // namespace vantor
