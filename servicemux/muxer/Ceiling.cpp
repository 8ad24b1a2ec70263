#include "servicemux/muxer/Ceiling.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "servicemux/muxer/packetTime.h"
#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1000000000;

/// A second and a little more, because a packet leaves a little after it was taken.
constexpr boost::chrono::nanoseconds kWindow = boost::chrono::microseconds(1000200);

constexpr std::size_t kPartKept = 10;

/// A sender that wakes up late makes up for so much.
constexpr boost::chrono::milliseconds kMadeUp{2};

}  // namespace

void Ceiling::set(unsigned int kbps) {
  interval = nanoseconds(kNanosecondsTimesKbps / kbps);
  perSecond = std::max<std::size_t>(1, kNanosecondsPerSecond * kbps / kNanosecondsTimesKbps);
  kept = std::min<std::size_t>(perSecond / kPartKept, standards::kMostKept);
  if (perSecond <= history.size()) return;
  std::rotate(history.begin(), history.begin() + static_cast<std::ptrdiff_t>(oldest), history.end());
  history.insert(history.begin(), perSecond - history.size(), time_point());
  oldest = 0;
}

Ceiling::time_point Ceiling::nextPressing() const { return next(standards::kBurst, 0); }

/// So that within a second so many others may still leave.
Ceiling::time_point Ceiling::next(nanoseconds ahead, std::size_t others) const {
  const std::size_t fullSecond = oldest + history.size() - perSecond;
  return std::max(slotClock - ahead, history[(fullSecond + others) % history.size()] + kWindow);
}

void Ceiling::take(time_point now) {
  slotClock = std::max(slotClock, now - kMadeUp) + interval;
  history[oldest] = now;
  if (++oldest == history.size()) oldest = 0;
}

}  // namespace vantor
