#pragma once

#include <boost/chrono.hpp>
#include <cstdint>

#include "servicemux/packetize/TableFacts.h"

namespace vantor {

/// How often a table has begun on air, and when (slot clock) it began first and last.
class Repetition {
 public:
  using time_point = boost::chrono::steady_clock::time_point;

  void begin(time_point now) {
    if (begun++ == 0) first = now;
    last = now;
  }

  [[nodiscard]] std::uint64_t count() const { return begun; }

  /// Mean time in ms from one beginning to the next, 0 until there have been two.
  [[nodiscard]] double meanPeriod() const {
    if (begun < 2) return 0;
    return boost::chrono::duration<double, boost::milli>(last - first).count() / static_cast<double>(begun - 1);
  }

 private:
  std::uint64_t begun = 0;
  time_point first;
  time_point last;
};

/// What a stream tells about one table it sends.
struct StreamedTable {
  unsigned int period = 0;  ///< ms
  TableFacts facts;         ///< of its packets; none when nothing is on air
  Repetition repetition;
};

}  // namespace vantor
