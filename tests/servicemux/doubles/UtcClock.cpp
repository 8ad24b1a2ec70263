#include "tests/servicemux/doubles/UtcClock.h"

#include "interface/host.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

std::atomic<UtcClock*> utcClock{nullptr};

}  // namespace

UtcClock::UtcClock() { utcClock.store(this); }

UtcClock::~UtcClock() { utcClock.store(nullptr); }

long long GetUTCTime(void) {
  static const auto real = nextFunction<long long()>("GetUTCTime");
  UtcClock* const current = utcClock.load();
  if (current == nullptr) return real();
  ++current->reads;
  current->onRead();
  return current->time.load();
}

int IsSystemTimeSet(void) {
  static const auto real = nextFunction<int()>("IsSystemTimeSet");
  const UtcClock* const current = utcClock.load();
  return current == nullptr ? real() : current->systemTimeSet.load();
}
