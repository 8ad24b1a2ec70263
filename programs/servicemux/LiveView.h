#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <vector>

#include "programs/servicemux/ListView.h"
#include "servicemux/muxer/MuxerStatistics.h"
#include "servicemux/output/TableOnAir.h"

namespace vantor::cli {

/// What one destination has got so far.
struct DestinationState {
  std::string name;             ///< "239.1.1.1:5004"
  double kbps = 0;              ///< of the last seconds
  std::uint64_t datagrams = 0;  ///< sent, or written
  std::uint64_t bytes = 0;      ///< of the packets in them
  std::uint64_t lost = 0;       ///< datagrams that could not be sent
  std::uint64_t refused = 0;    ///< datagrams that came back: nobody listens there
  std::string trouble;          ///< why it fails at this moment, empty while it does not
};

/// What an output does at one moment.
struct OutputState {
  std::vector<DestinationState> destinations;
  std::chrono::milliseconds elapsed;  ///< since it went on air
  double kbps = 0;                    ///< of the last seconds
  unsigned int ceiling = 0;           ///< kbit/s
  MuxerStatistics statistics;
  std::vector<TableOnAir> tables;
};

/// What there is to say when not all fits under the ceiling (kbit/s): "needs 293 of 100 kbit/s: all periods
/// are 2.93 times as long". Empty while everything fits.
std::string stretchOf(const MuxerStatistics& statistics, unsigned int ceiling);

/// Tells of a stretch once each time that it has become another one.
class StretchNotice {
 public:
  /// What stretchOf() says, empty when it is what was said last.
  std::string update(const MuxerStatistics& statistics, unsigned int ceiling);

 private:
  std::string said;
};

/// The rate of a growing byte count over the last seconds.
class RateMeter {
 public:
  using Clock = std::chrono::steady_clock;

  /// Takes the count as it is at `now` and returns the rate in kbit/s, 0 at the first call.
  double update(Clock::time_point now, std::uint64_t bytes);

 private:
  struct Sample {
    Clock::time_point time;
    std::uint64_t bytes;
  };
  std::deque<Sample> samples;
};

/// The state as a block for a terminal; the tables off their periods come first unless the view has another order.
std::vector<std::string> blockOf(const OutputState& state, ScreenSize screen, ListView& view);

/// The state on one line; of many tables only the first have a place there, and all that are off their periods.
std::string lineOf(const OutputState& state);

/// What has been sent and lost in all, on one line, and one more for each of several destinations.
std::string summaryOf(const OutputState& state);

}  // namespace vantor::cli
