#pragma once

#include <boost/chrono.hpp>
#include <cstddef>
#include <vector>

#include "servicemux/export.h"

namespace vantor {

/// A bitrate that is not exceeded: packets have slots of its rate, and whatever leaves at once, over any second no
/// more than the rate leaves. Not thread-safe.
class SERVICEMUX_API Ceiling {
 public:
  using time_point = boost::chrono::steady_clock::time_point;
  using nanoseconds = boost::chrono::nanoseconds;

  /// `kbps` is at least 1. What has left in the last second counts on, and of that second the rate that it had.
  void set(unsigned int kbps, time_point now);
  /// Counts the second until then as full, whatever has left in it.
  void fillUntil(time_point end);

  /// From packet to packet.
  [[nodiscard]] nanoseconds slot() const { return interval; }

  /// The moment from which on the next packet may leave, its slot being at most `ahead` later. A few packets of
  /// each second are kept for those that press.
  [[nodiscard]] time_point next(nanoseconds ahead) const { return next(ahead, kept); }
  /// The same for so many packets at once.
  [[nodiscard]] time_point nextFor(std::size_t packets) const {
    return next(nanoseconds::zero(), kept + packets - 1);
  }
  [[nodiscard]] time_point nextPressing() const;

  /// Whether it may at `now`.
  [[nodiscard]] bool allows(time_point now, nanoseconds ahead) const { return next(ahead) <= now; }
  [[nodiscard]] bool allowsPressing(time_point now) const { return nextPressing() <= now; }

  /// A packet leaves.
  void take(time_point now);

  /// Millionths of a packet that may leave in a second.
  [[nodiscard]] double rate() const { return 1e15 / static_cast<double>(interval.count()); }

 private:
  [[nodiscard]] time_point next(nanoseconds ahead, std::size_t others) const;
  [[nodiscard]] std::vector<time_point> historyAt(std::size_t perSecond, time_point now) const;

  nanoseconds interval{0};
  time_point slotClock;
  std::vector<time_point> history{1};  // when packets left, as many as may in a second
  std::size_t oldest = 0;
  std::size_t kept = 0;
};

}  // namespace vantor
