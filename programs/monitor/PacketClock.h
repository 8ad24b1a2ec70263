#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "programs/monitor/Report.h"

namespace vantor::monitor {

/// Gives packets the times that intervals are judged by: of their arrival, else by the PCRs of the first PID that
/// has some, else by a bitrate that the user knows, else none. Between two PCRs, and before the first and behind
/// the last, each packet takes as long as the others; so packets are kept back until the next PCR. Times other than
/// those of arrival are ns since the first packet.
class PacketClock {
 public:
  using Sink = std::function<void(std::string_view packet, std::optional<std::int64_t> time)>;

  /// `kbps` is for inputs that tell no times, 0 when it is not known.
  PacketClock(Sink sink, double kbps);

  /// Takes the next packet (188 bytes); `arrival` in ns.
  void take(std::string_view packet, std::optional<std::int64_t> arrival);

  /// No more will come.
  void finish();

  /// Of the packets handed over so far.
  [[nodiscard]] TimeSource source() const { return timeSource; }
  /// Whose PCRs it goes by, if so.
  [[nodiscard]] std::uint16_t pcrPid() const { return pid.value_or(0); }

 private:
  /// Packets that are kept back at most: so far apart no PCRs are, at any bitrate.
  static constexpr std::size_t kMostKept = 65536;

  void takeUntimed(std::string_view packet);
  void takePcr(std::int64_t pcr, bool isNewTime);
  void release(std::size_t end);
  void giveUp();
  [[nodiscard]] std::optional<std::int64_t> timeOf(std::size_t i) const;
  [[nodiscard]] std::size_t kept() const;

  const Sink sink;
  TimeSource timeSource = TimeSource::kNone;
  std::string packets;               // that are kept back
  double start = 0;                  // ns, of the first of them
  std::optional<double> step;        // ns from packet to packet, none before it is known
  bool goesByPcr = true;             // until there prove to be none
  const double givenStep;            // 0 where the user knows no bitrate
  std::optional<std::uint16_t> pid;  // with PCRs
  std::int64_t lastPcr = 0;
  std::size_t lastPcrAt = 0;  // among the packets kept back
};

}  // namespace vantor::monitor
