#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <vector>

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

struct ScreenSize {
  std::size_t columns = 80;
  std::size_t rows = 24;
};

/// The state as a block for a terminal: no line is wider than the screen, and the block is lower than it. Lines
/// carry their colours and no line ends.
std::vector<std::string> blockOf(const OutputState& state, ScreenSize screen);

/// The state on one line; of many tables only the first have a place there.
std::string lineOf(const OutputState& state);

/// What has been sent and lost in all, on one line, and one more for each of several destinations.
std::string summaryOf(const OutputState& state);

/// A block at the bottom of a terminal that is drawn again and again in place, with a log above it.
class LiveBlock {
 public:
  /// Bytes for the terminal that replace the block last drawn by `log` (lines, or nothing) and then `lines`.
  std::string draw(const std::vector<std::string>& lines, const std::string& log = "");
  /// Bytes that leave the block where it is and the cursor visible below it.
  std::string end();

 private:
  std::size_t height = 0;  // of the block on the screen
};

}  // namespace vantor::cli
