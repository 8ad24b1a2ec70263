#pragma once

#include <optional>
#include <string_view>

#include "programs/monitor/ContinuityCheck.h"
#include "programs/monitor/RateWindow.h"
#include "programs/monitor/Report.h"
#include "programs/tables/sections/SectionAssembler.h"

namespace vantor::monitor {

/// Keeps account of the packets of one PID, and puts its sections together once they are wanted. No thread, no
/// clock.
class PidMonitor {
 public:
  explicit PidMonitor(std::uint16_t pid);

  /// Has the sections of what comes from now on handed over, each with when its first and its last byte came, and
  /// the bytes of each whose CRC_32 is wrong.
  struct SectionSink {
    std::function<void(const tables::Section&, std::int64_t begin, std::int64_t end)> onSection;
    std::function<bool(std::string_view bytes)> onCrcError;  ///< returns whether it knows the table
  };
  void follow(SectionSink sections);

  /// Takes the PID's next packet (188 bytes), with when it came; `time` is 0 for all where nobody knows.
  void take(std::string_view packet, std::int64_t time);

  [[nodiscard]] PidReport report(std::int64_t moment, std::int64_t elapsed) const;

 private:
  void takeFault(tables::SectionFault fault);

  PidReport counts;
  RateWindow rate;
  ContinuityCheck continuity;
  std::int64_t now = 0;
  SectionSink sink;
  std::optional<tables::SectionAssembler> assembler;
};

/// kbit/s of so many packets in so many ns, 0 for no time.
[[nodiscard]] double meanKbps(std::uint64_t packets, std::int64_t elapsed);

}  // namespace vantor::monitor
