#pragma once

#include <boost/chrono.hpp>
#include <vector>

namespace vantor {

/// A bitrate that is not exceeded: packets have slots of its rate, and whatever leaves at once, over any second no
/// more than the rate leaves. Not thread-safe.
class Ceiling {
 public:
  using time_point = boost::chrono::steady_clock::time_point;
  using nanoseconds = boost::chrono::nanoseconds;

  /// `kbps` is at least 1. Packets that have left count on.
  void set(unsigned int kbps);

  /// From packet to packet.
  [[nodiscard]] nanoseconds slot() const { return interval; }

  /// The moment from which on the next packet has its slot.
  [[nodiscard]] time_point next() const;

  /// Whether a packet may leave at `now`, its slot being at most `ahead` later.
  [[nodiscard]] bool allows(time_point now, nanoseconds ahead) const;

  /// A packet leaves.
  void take(time_point now);

  /// Millionths of a packet that may leave in a second.
  [[nodiscard]] std::uint64_t rate() const { return history.size() * 1000000; }

 private:
  nanoseconds interval{0};
  time_point slotClock;
  std::vector<time_point> history{1};  // when packets left, as many as may leave in a second
  std::size_t oldest = 0;
};

}  // namespace vantor
