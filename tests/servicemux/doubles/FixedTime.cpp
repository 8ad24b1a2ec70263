#include "tests/servicemux/doubles/FixedTime.h"

#include <atomic>

namespace {

constexpr std::time_t kReal = -1;

std::atomic<std::time_t> fixedTime{kReal};

}  // namespace

FixedTime::FixedTime(std::time_t now) { fixedTime.store(now); }

FixedTime::~FixedTime() { fixedTime.store(kReal); }

extern "C" std::time_t time(std::time_t* result) noexcept {
  std::time_t now = fixedTime.load();
  if (now == kReal) {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    now = time.tv_sec;
  }
  if (result != nullptr) *result = now;
  return now;
}
