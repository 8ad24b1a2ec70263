#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

/// While it lives, time is simulated for the thread that made it and for all threads that are made from then on,
/// and only one of them runs at a time: whoever waits on a condition variable hands over to a thread that has been
/// woken, or, when there is none, the clock jumps to the first deadline there is. So a whole multiplex with its
/// threads runs as fast as the processor allows and always in the same way. One at a time; all threads that were
/// made must have been joined at its end. Times are ns since its making.
class SimulatedThreads {
 public:
  SimulatedThreads();
  SimulatedThreads(const SimulatedThreads&) = delete;
  SimulatedThreads& operator=(const SimulatedThreads&) = delete;
  ~SimulatedThreads();

  [[nodiscard]] std::int64_t now() const { return clock; }
  /// Since 1970.
  [[nodiscard]] std::int64_t utc() const { return clock + utcAtStart; }

  /// Sets the host's UTC clock by so much; the steady clock goes on.
  void moveUtc(std::int64_t by) { utcAtStart += by; }

  /// Lets the others run until then. For the thread that made this.
  void sleepUntil(std::int64_t time);

  // What the doubles of the system's calls ask.

  static constexpr std::int64_t kNever = INT64_MAX;

  /// The object that lives, when the calling thread is one of its own; else null.
  static SimulatedThreads* ofThisThread();

  /// Its readings.
  [[nodiscard]] std::int64_t steadyClock() const { return clock + kSteadyAtStart; }
  [[nodiscard]] static std::int64_t sinceStart(std::int64_t steady) { return steady - kSteadyAtStart; }

  /// Waits for a condition; true when it was notified, false at the deadline.
  bool wait(const void* condition, std::int64_t deadline);
  void notify(const void* condition, bool all);
  int create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument);
  void awaitEnd(pthread_t thread);

 private:
  /// One thread. It runs while it holds the turn.
  struct Participant {
    SimulatedThreads* simulation = nullptr;
    pthread_t thread{};
    void* (*body)(void*) = nullptr;
    void* argument = nullptr;
    sem_t turn{};
    const void* condition = nullptr;  // waited for
    std::int64_t deadline = kNever;
    bool ready = true;
    bool ended = false;
  };

  static void* run(void* participant);
  static thread_local Participant* self;

  Participant& add();
  Participant& next();
  void handOver();

  static constexpr std::int64_t kSteadyAtStart = 1000000000000;  // as on a machine that has been up for a while

  std::int64_t clock = 0;
  std::int64_t utcAtStart = 1767225600000000000;  // 2026-01-01
  std::vector<std::unique_ptr<Participant>> participants;
};
