#include "tests/servicemux/standards/CeilingWindow.h"

#include <algorithm>

#include "tests/servicemux/standards/simulatedTime.h"

namespace {

constexpr std::int64_t kNanosecondsTimesKbps = 1000000;  // in a bit
constexpr std::int64_t kPacketBits = 1504;

}  // namespace

void CeilingWindow::setCeiling(std::int64_t now, unsigned int kbps) { steps.push_back({now, kbps}); }

std::int64_t CeilingWindow::add(std::int64_t now, std::size_t bytes) {
  const auto added = static_cast<std::int64_t>(8 * bytes);
  sendings.push_back({now, added});
  bits += added;
  while (sendings.front().time <= now - kSecond) {
    bits -= sendings.front().bits;
    sendings.pop_front();
  }
  return std::max<std::int64_t>(bits - allowed(now), 0);
}

void CeilingWindow::forget() {
  sendings.clear();
  bits = 0;
}

std::int64_t CeilingWindow::allowed(std::int64_t now) {
  const std::int64_t begin = now - kSecond;
  while (steps.size() > 1 && steps[1].time <= begin) steps.pop_front();
  std::int64_t sum = 0;
  std::int64_t from = begin;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const std::int64_t to = i + 1 < steps.size() ? steps[i + 1].time : now;
    sum += (to - from) * steps[i].kbps;
    from = to;
  }
  const bool hasChanged = steps.size() > 1;
  return sum / kNanosecondsTimesKbps + (hasChanged ? kPacketBits : 0);
}
