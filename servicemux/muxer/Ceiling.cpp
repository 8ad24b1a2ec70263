#include "servicemux/muxer/Ceiling.h"

#include <algorithm>

namespace vantor {

namespace {

constexpr unsigned int kBitsOfAPacket = 1504;
constexpr boost::chrono::nanoseconds::rep kNanosecondsTimesKbps = 1504000000;

/// A little more, because a packet leaves a little after it was taken.
constexpr boost::chrono::nanoseconds kSecond = boost::chrono::microseconds(1000200);

/// A sender that wakes up late makes up for so much.
constexpr boost::chrono::milliseconds kMadeUp{2};

}  // namespace

void Ceiling::set(unsigned int kbps) {
  interval = nanoseconds(kNanosecondsTimesKbps / kbps);
  std::vector<time_point> kept(std::max(1U, kbps * 1000 / kBitsOfAPacket));
  // The newest of what has left stands at the end, just before the place that is used next.
  const std::size_t count = std::min(kept.size(), history.size());
  for (std::size_t i = 1; i <= count; ++i)
    kept[kept.size() - i] = history[(oldest + history.size() - i) % history.size()];
  history.swap(kept);
  oldest = 0;
}

Ceiling::time_point Ceiling::next() const { return std::max(slotClock, history[oldest] + kSecond); }

bool Ceiling::allows(time_point now, nanoseconds ahead) const {
  return slotClock <= now + ahead && history[oldest] + kSecond <= now;
}

void Ceiling::take(time_point now) {
  slotClock = std::max(slotClock, now - kMadeUp) + interval;
  history[oldest] = now;
  if (++oldest == history.size()) oldest = 0;
}

}  // namespace vantor
