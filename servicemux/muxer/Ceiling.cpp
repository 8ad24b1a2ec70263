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

void Ceiling::set(unsigned int kbps, time_point now) {
  const nanoseconds slot(kNanosecondsTimesKbps / kbps);
  if (slot == interval) return;
  interval = slot;
  const auto perSecond = std::max<std::size_t>(1, kNanosecondsPerSecond * kbps / kNanosecondsTimesKbps);
  kept = std::min<std::size_t>(perSecond / kPartKept, standards::kMostKept);
  if (slotClock == time_point())
    history.assign(perSecond, slotClock);  // nothing has left
  else
    history = historyAt(perSecond, now);
  oldest = 0;
}

/// The history that lets as many packets leave as the two rates, summed up over a second, have left over. When the
/// part x of a second is over at the new rate, what is left of the old one is that many slots less those of the
/// packets that left in the rest of the second before; so it grows by one with each that is a second ago, and
/// changes evenly with the difference of the rates.
std::vector<Ceiling::time_point> Ceiling::historyAt(std::size_t perSecond, time_point now) const {
  const auto window = static_cast<double>(kWindow.count());
  const double difference = static_cast<double>(perSecond) - static_cast<double>(history.size());
  const auto part = [&](std::size_t i) {
    const nanoseconds until = history[(oldest + i) % history.size()] + kWindow - now;
    return static_cast<double>(std::max(until, nanoseconds::zero()).count()) / window;
  };
  std::vector<time_point> made(perSecond);
  std::size_t older = history.size();
  for (std::size_t m = perSecond; m > 0; --m) {
    const auto packets = static_cast<double>(m);
    while (older > 0 && difference * part(older - 1) + static_cast<double>(older - 1) >= packets) --older;
    double x = older == 0 ? 0 : part(older - 1);
    if (difference > 0) x = std::max(x, (packets - static_cast<double>(older)) / difference);
    made[m - 1] = now - kWindow + nanoseconds(static_cast<nanoseconds::rep>(x * window));
  }
  return made;
}

void Ceiling::fillUntil(time_point end) {
  slotClock = end;
  for (oldest = history.size(); oldest > 0; --oldest) {
    end -= interval;
    history[oldest - 1] = end;
  }
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
