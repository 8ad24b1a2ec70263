#include "programs/inputs/waitReadable.h"

#include <poll.h>

#include <algorithm>
#include <array>

namespace vantor::inputs {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestWait(60'000);  // at once, so that the figure fits poll(2)

int millisecondsUntil(Deadline deadline) {
  const auto now = Clock::now();
  if (deadline <= now) return 0;
  if (deadline - now > kLongestWait) return static_cast<int>(kLongestWait.count());
  return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count());
}

}  // namespace

bool waitReadable(int descriptor, int wakeFd, Deadline deadline) {
  while (true) {
    std::array<pollfd, 2> events{{{descriptor, POLLIN, 0}, {wakeFd, POLLIN, 0}}};
    const int ready = poll(events.data(), events.size(), millisecondsUntil(deadline));
    // What has come is read before who waits is woken.
    if (ready > 0) return events[0].revents != 0;
    if (Clock::now() >= deadline) return false;
  }
}

}  // namespace vantor::inputs
