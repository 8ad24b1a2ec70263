#pragma once

#include <boost/chrono.hpp>
#include <cstdint>

#include "servicemux/guarded.h"

namespace vantor {

/// When a stream may send its packets, in the classic pacing: one packet an interval, each due time counted from
/// the one before and not from the present, so that the average holds when the producer comes late.
class ClassicPace {
 public:
  using time_point = boost::chrono::steady_clock::time_point;

  /// The next packet may leave from this moment on.
  void begin(time_point due) { dueTime = due; }

  /// Sets the ns from packet to packet. The packet that is next keeps its due time.
  void setInterval(std::uint64_t ns) { interval = boost::chrono::nanoseconds(ns); }

  /// Uses the slot at `now` when it is due: `send` writes a packet and tells whether there was one; it may set the
  /// interval that leads to the packet after. Lowers `next` to the due time. True when a packet was written. What
  /// `send` requires is held by whoever calls this with it, and not known here.
  template <typename Send>
  bool offer(time_point now, time_point& next, Send send) SERVICEMUX_NOT_ANALYSED {
    bool sent = false;
    if (now >= dueTime) {
      sent = send();
      dueTime += interval;
    }
    if (dueTime < next) next = dueTime;
    return sent;
  }

 private:
  time_point dueTime;
  boost::chrono::nanoseconds interval{0};
};

}  // namespace vantor
