#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vantor::monitor {

/// Packets of the last two seconds as a bitrate. Times are ns and never run back.
class RateWindow {
 public:
  /// A packet has come.
  void add(std::int64_t time);

  /// kbit/s, over what there is of the last two seconds; 0 before the first tenth of a second is over.
  [[nodiscard]] double kbps(std::int64_t now) const;

 private:
  static constexpr std::int64_t kSlice = 100000000;  // ns
  static constexpr std::size_t kSlices = 21;         // two seconds, and the slice under way

  static std::int64_t sliceOf(std::int64_t time) { return time / kSlice; }

  std::array<std::uint32_t, kSlices> packets{};  // of each slice
  std::int64_t first = -1;                       // slice, -1 before the first packet
  std::int64_t last = 0;                         // slice that was counted in last
};

}  // namespace vantor::monitor
