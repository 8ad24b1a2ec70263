#include "tests/servicemux/doubles/SimulatedThreads.h"

#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
constexpr std::int64_t kNanosecondsPerMicrosecond = 1000;

std::int64_t toNanoseconds(const timespec& time) { return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec; }

int waitUntil(SimulatedThreads& simulation, const void* condition, pthread_mutex_t* mutex, std::int64_t deadline) {
  pthread_mutex_unlock(mutex);
  const bool woken = simulation.wait(condition, deadline);
  pthread_mutex_lock(mutex);
  return woken ? 0 : ETIMEDOUT;
}

}  // namespace

thread_local SimulatedThreads::Participant* SimulatedThreads::self = nullptr;

SimulatedThreads* SimulatedThreads::ofThisThread() { return self == nullptr ? nullptr : self->simulation; }

SimulatedThreads::SimulatedThreads() {
  self = &add();
  self->thread = pthread_self();
}

SimulatedThreads::~SimulatedThreads() {
  self = nullptr;
  for (const auto& participant : participants) sem_destroy(&participant->turn);
}

void SimulatedThreads::sleepUntil(std::int64_t time) { wait(nullptr, time); }

// --- Turns ------------------------------------------------------------------------------------------------------
// Whatever is changed here, the thread that has the turn changes it.

SimulatedThreads::Participant& SimulatedThreads::add() {
  Participant& added = *participants.emplace_back(std::make_unique<Participant>());
  added.simulation = this;
  sem_init(&added.turn, 0, 0);
  return added;
}

/// The thread whose turn it is: one that has been woken, else the one with the first deadline, which comes now.
SimulatedThreads::Participant& SimulatedThreads::next() {
  Participant* earliest = nullptr;
  for (const auto& participant : participants) {
    if (participant->ended) continue;
    if (participant->ready) return *participant;
    if (earliest == nullptr || participant->deadline < earliest->deadline) earliest = participant.get();
  }
  if (earliest == nullptr || earliest->deadline == kNever) {
    std::fputs("every simulated thread waits for another\n", stderr);
    std::abort();
  }
  clock = std::max(clock, earliest->deadline);
  return *earliest;
}

void SimulatedThreads::handOver() {
  Participant& taker = next();
  if (&taker == self) return;
  sem_post(&taker.turn);
  if (self->ended) return;
  while (sem_wait(&self->turn) != 0) {
  }
}

bool SimulatedThreads::wait(const void* condition, std::int64_t deadline) {
  self->condition = condition;
  self->deadline = deadline;
  self->ready = false;
  handOver();
  const bool woken = self->ready;
  self->ready = true;
  self->condition = nullptr;
  return woken;
}

void SimulatedThreads::notify(const void* condition, bool all) {
  for (const auto& participant : participants) {
    if (participant->ready || participant->condition != condition) continue;
    participant->ready = true;
    if (!all) return;
  }
}

// --- Threads ----------------------------------------------------------------------------------------------------

int SimulatedThreads::create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                             void* argument) {
  static const auto real =
      nextFunction<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  Participant& added = add();
  added.body = body;
  added.argument = argument;
  const int result = real(&added.thread, attributes, run, &added);
  added.ended = result != 0;
  *thread = added.thread;
  return result;
}

void* SimulatedThreads::run(void* participant) {
  self = static_cast<Participant*>(participant);
  while (sem_wait(&self->turn) != 0) {
  }
  void* const result = self->body(self->argument);
  self->ended = true;
  self->simulation->notify(self, true);
  self->simulation->handOver();
  self = nullptr;
  return result;
}

void SimulatedThreads::awaitEnd(pthread_t thread) {
  const auto awaited = std::find_if(participants.begin(), participants.end(), [=](const auto& participant) {
    return pthread_equal(participant->thread, thread) != 0 && !participant->ended;
  });
  if (awaited != participants.end()) wait(awaited->get(), kNever);
}

// --- The system's calls -----------------------------------------------------------------------------------------

extern "C" int clock_gettime(clockid_t id, timespec* time) noexcept {
  static const auto real = nextFunction<int(clockid_t, timespec*)>("clock_gettime");
  const SimulatedThreads* const simulation = SimulatedThreads::ofThisThread();
  if (simulation == nullptr || (id != CLOCK_MONOTONIC && id != CLOCK_REALTIME)) return real(id, time);
  const std::int64_t ns = id == CLOCK_MONOTONIC ? simulation->steadyClock() : simulation->utc();
  *time = {ns / kNanosecondsPerSecond, ns % kNanosecondsPerSecond};
  return 0;
}

extern "C" int gettimeofday(timeval* time, void*) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  *time = {now.tv_sec, now.tv_nsec / kNanosecondsPerMicrosecond};
  return 0;
}

extern "C" std::time_t time(std::time_t* result) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (result != nullptr) *result = now.tv_sec;
  return now.tv_sec;
}

extern "C" int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static const auto real = nextFunction<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
  SimulatedThreads* const simulation = SimulatedThreads::ofThisThread();
  if (simulation == nullptr) return real(condition, mutex);
  return waitUntil(*simulation, condition, mutex, SimulatedThreads::kNever);
}

/// The condition variables of the library go by the steady clock.
extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
  static const auto real =
      nextFunction<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
  SimulatedThreads* const simulation = SimulatedThreads::ofThisThread();
  if (simulation == nullptr) return real(condition, mutex, deadline);
  return waitUntil(*simulation, condition, mutex, SimulatedThreads::sinceStart(toNanoseconds(*deadline)));
}

extern "C" int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  static const auto real = nextFunction<int(pthread_cond_t*)>("pthread_cond_signal");
  if (SimulatedThreads* const simulation = SimulatedThreads::ofThisThread()) simulation->notify(condition, false);
  return real(condition);
}

extern "C" int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  static const auto real = nextFunction<int(pthread_cond_t*)>("pthread_cond_broadcast");
  if (SimulatedThreads* const simulation = SimulatedThreads::ofThisThread()) simulation->notify(condition, true);
  return real(condition);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
  static const auto real =
      nextFunction<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  SimulatedThreads* const simulation = SimulatedThreads::ofThisThread();
  if (simulation == nullptr) return real(thread, attributes, body, argument);
  return simulation->create(thread, attributes, body, argument);
}

extern "C" int pthread_join(pthread_t thread, void** result) {
  static const auto real = nextFunction<int(pthread_t, void**)>("pthread_join");
  if (SimulatedThreads* const simulation = SimulatedThreads::ofThisThread()) simulation->awaitEnd(thread);
  return real(thread, result);
}

/// In simulated time a priority changes nothing.
extern "C" int pthread_setschedparam(pthread_t thread, int policy, const sched_param* parameters) noexcept {
  static const auto real = nextFunction<int(pthread_t, int, const sched_param*)>("pthread_setschedparam");
  return SimulatedThreads::ofThisThread() != nullptr ? 0 : real(thread, policy, parameters);
}
