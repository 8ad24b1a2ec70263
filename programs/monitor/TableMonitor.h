#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "programs/monitor/Report.h"
#include "programs/tables/sections/Section.h"

namespace vantor::monitor {

/// Keeps account of one table: its version, and how long it is from each section to its next sending. Times are ns
/// and never run back; without times nothing is judged but versions. No thread, no clock.
class TableMonitor {
 public:
  TableMonitor(const psi::TableKey& key, std::uint16_t pid, psi::Network network)
      : key(key), pid(pid), network(network) {}

  /// Takes a section of the table that is in force; `end` is when its last byte came.
  void take(const tables::Section& section, std::optional<std::int64_t> end);

  /// A section of this number should come from `now` on, if it has not come yet.
  void expect(std::uint8_t number, std::optional<std::int64_t> now);

  /// So long it was from the last byte of its like to its first one, which has a limit.
  void takeGap(std::int64_t gap);

  void takeCrcError() { ++crcErrors; }

  /// Whether it is still to come. When it is again, it counts from `now`.
  void setListed(bool value, std::optional<std::int64_t> now);

  [[nodiscard]] TableReport report(std::optional<std::int64_t> now) const;

 private:
  /// One section of the version under way.
  struct Part {
    bool seen = false;
    std::uint64_t bytes = 0;
    std::optional<std::int64_t> last;   // when it came last
    std::optional<std::int64_t> since;  // without `last`, from when on it is waited for
  };

  /// How much of its limit an interval takes.
  struct Share {
    double value = -1;
    std::optional<psi::TableLimit> limit;
    std::int64_t interval = 0;
  };

  void beginVersion(const tables::Section& section);
  void expectOthers(const tables::Section& section, std::optional<std::int64_t> now);
  void addInterval(std::uint8_t number, std::int64_t interval);
  [[nodiscard]] Share shareOf(std::uint8_t number, std::int64_t interval) const;

  const psi::TableKey key;
  const std::uint16_t pid;
  const psi::Network network;
  std::map<std::uint8_t, Part> parts;
  int version = -1;
  std::uint64_t versionChanges = 0;
  unsigned int lastSection = 0;
  std::uint64_t received = 0;
  std::uint64_t intervals = 0;
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;
  std::int64_t sum = 0;
  std::uint64_t late = 0;
  Share worst;
  bool isListed = true;
  std::optional<std::int64_t> shortestGap;
  std::uint64_t shortGaps = 0;
  std::uint64_t crcErrors = 0;
};

}  // namespace vantor::monitor
