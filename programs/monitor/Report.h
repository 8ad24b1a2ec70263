#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interface/psi/tableLimits.h"
#include "interface/psi/tableTypes.h"

namespace vantor::monitor {

/// What the times of the packets are.
enum class TimeSource {
  kNone,      ///< there are none, or none yet: intervals and bitrates are not judged
  kArrivals,  ///< when each packet came
  kPcr,       ///< the PCRs of one PID, and in between so much for each packet
  kBitrate    ///< so much for each packet, as the user said
};

/// Of one PID, since the first packet.
struct PidReport {
  std::uint16_t pid = 0;
  std::uint64_t packets = 0;
  double kbps = 0;      ///< of the last two seconds
  double meanKbps = 0;  ///< of all the time
  std::uint64_t continuityErrors = 0;
  std::uint64_t doubled = 0;  ///< packets that came twice, as they may
  std::uint64_t scrambled = 0;
  std::uint64_t transportErrors = 0;   ///< packets with the transport_error_indicator
  std::uint64_t crcErrors = 0;         ///< sections
  std::uint64_t unknownCrcErrors = 0;  ///< of them those that seem to be of no table seen before
  std::uint64_t syntaxErrors = 0;      ///< sections whose length or head is wrong
  std::uint64_t cutSections = 0;
};

/// Of one table, since its first section. Times are ns.
struct TableReport {
  psi::TableKey key;
  std::string name;  ///< tells it from all others of the stream
  std::uint16_t pid = 0;
  int version = -1;  ///< -1 for what has none
  std::uint64_t versionChanges = 0;
  unsigned int sectionsSeen = 0;  ///< of the version under way, different ones
  unsigned int lastSection = 0;   ///< last_section_number
  std::uint64_t received = 0;     ///< sections, each as often as it came
  std::uint64_t bytes = 0;        ///< of the different sections of the version under way
  std::uint64_t intervals = 0;    ///< from a section's last byte to that of its next sending
  std::int64_t minimum = 0;       ///< of the intervals, as the two below; 0 while there are none
  std::int64_t mean = 0;
  std::int64_t maximum = 0;
  std::optional<psi::TableLimit> limit;     ///< of the section that takes most of its own
  std::int64_t judged = 0;                  ///< the interval, or silence, that takes most of it
  std::uint64_t late = 0;                   ///< intervals above their limits, silences included
  std::int64_t silence = 0;                 ///< how long the section has not come that is late now; 0 for none
  bool neverCame = false;                   ///< that section has never come
  bool isListed = true;                     ///< false for a PMT that the PAT does not list any longer
  std::optional<std::int64_t> shortestGap;  ///< to its like before it, of those there is a limit for
  std::uint64_t shortGaps = 0;              ///< below the limit
  std::uint64_t crcErrors = 0;

  /// How far it is off its limits: the part of the limit that is used, or how many times too short a gap is; above
  /// 1 when one is broken.
  [[nodiscard]] double severity() const;
  [[nodiscard]] bool isOff() const { return late > 0 || shortGaps > 0 || crcErrors > 0; }
};

/// What came beside whole packets.
struct InputErrors {
  std::uint64_t syncLosses = 0;
  std::uint64_t skippedBytes = 0;
  std::uint64_t lostDatagrams = 0;  ///< by their RTP numbers
  std::uint64_t dropped = 0;        ///< datagrams that were lost here, for want of room
};

/// A stream as it is at one moment.
struct Report {
  TimeSource timeSource = TimeSource::kNone;
  std::int64_t elapsed = 0;  ///< ns since the first packet, 0 without times
  std::uint64_t packets = 0;
  double kbps = 0;  ///< as of a PID
  double meanKbps = 0;
  InputErrors input;
  std::vector<TableReport> tables;  ///< by PID, table_id and what tells them apart
  std::vector<PidReport> pids;      ///< by PID
};

}  // namespace vantor::monitor
