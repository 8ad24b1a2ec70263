#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>

#include "programs/monitor/PidMonitor.h"
#include "programs/monitor/ProgramList.h"
#include "programs/monitor/RateWindow.h"
#include "programs/monitor/Report.h"
#include "programs/monitor/TableMonitor.h"
#include "programs/tables/kinds/SignallingPids.h"
#include "programs/tables/sections/SubtableKey.h"

namespace vantor::monitor {

/// Keeps account of a transport stream, packet by packet: of each PID its packets, bitrate and continuity, of each
/// table its version and how often its sections come. It follows the PIDs that the standards reserve for tables and
/// those that PAT, CAT, PMTs and MGT point at.
///
/// No thread and no clock: packets come with the time of their arrival, in ns since any beginning. A time before
/// the latest one so far counts as that one. One thread at a time.
class StreamMonitor {
 public:
  explicit StreamMonitor(psi::Network network = psi::Network::kCableOrSatellite);
  StreamMonitor(const StreamMonitor&) = delete;
  StreamMonitor& operator=(const StreamMonitor&) = delete;

  /// Takes the next packet (188 bytes, in sync). Without a time its intervals are not judged.
  void take(std::string_view packet, std::optional<std::int64_t> time);

  /// It is `time` by now, whether packets come or not: what stays away is late at some time.
  void pass(std::int64_t time);

  /// ns since the first packet, 0 without times.
  [[nodiscard]] std::int64_t elapsed() const { return first ? *now - *first : 0; }

  /// What there is to say up to now. The time source and what came beside packets are for others to fill in.
  [[nodiscard]] Report report() const;

 private:
  /// Sections that have to keep a distance: PID, table_id, table_id_extension.
  using Like = std::tuple<std::uint16_t, std::uint8_t, std::uint16_t>;

  PidMonitor& monitorOf(std::uint16_t pid);
  void follow(std::uint16_t pid);
  void takeSection(std::uint16_t pid, const tables::Section& section, std::int64_t begin, std::int64_t end);
  void takeGap(std::uint16_t pid, const tables::Section& section, std::int64_t begin, std::int64_t end,
               TableMonitor& table);
  bool takeCrcError(std::uint16_t pid, std::string_view bytes);
  void takePat(const tables::Section& section);
  TableMonitor& tableOf(const tables::SubtableKey& key);
  static void nameTables(std::vector<TableReport>& reports);

  const psi::Network network;
  std::optional<std::int64_t> first;  // time
  std::optional<std::int64_t> now;
  std::uint64_t packets = 0;
  RateWindow rate;
  tables::SignallingPids signalling;
  ProgramList programs;
  std::map<std::uint16_t, PidMonitor> pids;
  std::map<std::uint16_t, bool> followed;
  std::map<tables::SubtableKey, TableMonitor> tables;
  std::map<Like, std::int64_t> ends;  // when the last section came
};

}  // namespace vantor::monitor
