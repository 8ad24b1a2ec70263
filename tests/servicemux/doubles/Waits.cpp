#include "tests/servicemux/doubles/Waits.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

constexpr std::int64_t kReal = -1;
constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
constexpr std::int64_t kFarAhead = 100000LL * 3600 * kNanosecondsPerSecond;  // 100000 hours

std::atomic<std::int64_t> steadyClock{kReal};
std::atomic<std::int64_t> systemClock{kReal};
std::atomic<SimulatedTime*> simulation{nullptr};
thread_local bool endless = false;

thread_local bool isWatched = false;
std::atomic<const void*> watchedCondition{nullptr};
std::atomic<bool> asleep{false};

timespec toTimespec(std::int64_t ns) { return {ns / kNanosecondsPerSecond, ns % kNanosecondsPerSecond}; }

std::int64_t toNanoseconds(const timespec& time) { return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec; }

std::int64_t toNanoseconds(time_point time) { return time.time_since_epoch().count(); }

std::int64_t readClock(clockid_t id) {
  timespec now{};
  clock_gettime(id, &now);
  return toNanoseconds(now);
}

}  // namespace

// --- Clocks -----------------------------------------------------------------------------------------------------

extern "C" int clock_gettime(clockid_t id, timespec* time) noexcept {
  static const auto real = nextFunction<int(clockid_t, timespec*)>("clock_gettime");
  const std::int64_t replaced = id == CLOCK_MONOTONIC  ? steadyClock.load()
                                : id == CLOCK_REALTIME ? systemClock.load()
                                                       : kReal;
  if (replaced == kReal) return real(id, time);
  *time = toTimespec(replaced);
  return 0;
}

FrozenClocks::FrozenClocks() {
  systemClock.store(readClock(CLOCK_REALTIME));
  steadyClock.store(readClock(CLOCK_MONOTONIC) + kFarAhead);
}

FrozenClocks::~FrozenClocks() {
  steadyClock.store(kReal);
  systemClock.store(kReal);
}

time_point FrozenClocks::steady() const { return time_point(nanoseconds(steadyClock.load())); }

long long FrozenClocks::system() const { return systemClock.load() / kNanosecondsPerSecond; }

void FrozenClocks::advance(nanoseconds time) { steadyClock.fetch_add(time.count()); }

SimulatedTime::SimulatedTime() : begin(nanoseconds(readClock(CLOCK_MONOTONIC))) {
  steadyClock.store(toNanoseconds(begin));
  simulation.store(this);
}

SimulatedTime::~SimulatedTime() {
  simulation.store(nullptr);
  steadyClock.store(kReal);
}

time_point SimulatedTime::now() { return time_point(nanoseconds(steadyClock.load())); }

void SimulatedTime::pass(nanoseconds time) { steadyClock.fetch_add(time.count()); }

void SimulatedTime::at(nanoseconds sinceStart, Action action) {
  actions.emplace(begin + sinceStart, std::move(action));
}

// --- Waits ------------------------------------------------------------------------------------------------------

bool SimulatedTime::wait(const void* condition, time_point deadline) {
  preparation();
  awaited = condition;
  woken = false;
  while (!woken && !actions.empty() && actions.begin()->first <= deadline) {
    const auto next = actions.extract(actions.begin());
    if (next.key() > now()) steadyClock.store(toNanoseconds(next.key()));
    next.mapped()();
  }
  awaited = nullptr;
  if (!woken && deadline > now()) steadyClock.store(toNanoseconds(deadline));
  return woken;
}

void SimulatedTime::notified(const void* condition) {
  if (condition == awaited) woken = true;
}

extern "C" int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static const auto real = nextFunction<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
  if (!isWatched) return real(condition, mutex);
  watchedCondition.store(condition);
  asleep.store(true);
  const int result = real(condition, mutex);
  asleep.store(false);
  return result;
}

extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
  static const auto real =
      nextFunction<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
  if (endless) return pthread_cond_wait(condition, mutex);
  SimulatedTime* const simulated = simulation.load();
  if (simulated == nullptr) return real(condition, mutex, deadline);
  pthread_mutex_unlock(mutex);
  const bool woken = simulated->wait(condition, time_point(nanoseconds(toNanoseconds(*deadline))));
  pthread_mutex_lock(mutex);
  return woken ? 0 : ETIMEDOUT;
}

extern "C" int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  static const auto real = nextFunction<int(pthread_cond_t*)>("pthread_cond_signal");
  if (condition == watchedCondition.load()) asleep.store(false);
  if (SimulatedTime* const simulated = simulation.load()) simulated->notified(condition);
  return real(condition);
}

EndlessWaits::EndlessWaits() { endless = true; }

EndlessWaits::~EndlessWaits() { endless = false; }

WatchedThread::WatchedThread(std::function<void()> body)
    : thread([body = std::move(body)] {
        isWatched = true;
        body();
      }) {}

WatchedThread::~WatchedThread() {
  thread.join();
  watchedCondition.store(nullptr);
  asleep.store(false);
}

bool WatchedThread::isAsleep() { return asleep.load(); }

void WatchedThread::awaitSleep() {
  while (!isAsleep()) std::this_thread::yield();
}
