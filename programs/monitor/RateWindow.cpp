#include "programs/monitor/RateWindow.h"

#include <algorithm>

#include "interface/psi/packet.h"

namespace vantor::monitor {

void RateWindow::add(std::int64_t time) {
  const std::int64_t slice = sliceOf(time);
  if (first < 0) first = last = slice;
  const std::int64_t skipped = std::min<std::int64_t>(slice - last, kSlices);
  for (std::int64_t i = 0; i < skipped; ++i) packets[static_cast<std::size_t>(slice - i) % kSlices] = 0;
  last = slice;
  ++packets[static_cast<std::size_t>(slice) % kSlices];
}

/// The slice under way is not over, so that it does not count.
double RateWindow::kbps(std::int64_t now) const {
  const std::int64_t end = sliceOf(now);
  // Of the slices that are kept the oldest has the place of the one under way.
  const std::int64_t begin = std::max(first, end - static_cast<std::int64_t>(kSlices) + 1);
  if (first < 0 || end <= begin) return 0;
  std::uint64_t count = 0;
  for (std::int64_t slice = std::max(begin, last - static_cast<std::int64_t>(kSlices) + 1);
       slice < end && slice <= last; ++slice)
    count += packets[static_cast<std::size_t>(slice) % kSlices];
  constexpr double kBitsPerPacket = 8 * kPacketSize;
  const double milliseconds = static_cast<double>((end - begin) * kSlice) / 1e6;
  return static_cast<double>(count) * kBitsPerPacket / milliseconds;
}

}  // namespace vantor::monitor
