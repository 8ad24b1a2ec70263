#pragma once

#include <atomic>
#include <boost/chrono.hpp>
#include <functional>
#include <map>
#include <thread>

/// Doubles of the clocks and of the waits on condition variables, for the whole test program. Without an object of
/// these classes everything is real.

using time_point = boost::chrono::steady_clock::time_point;
using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;

/// While it lives the steady clock stands still, except that a timed wait moves it to its deadline at once. One
/// object at a time, and one thread that makes timed waits: the one that calls `at` or is started after it.
class SimulatedTime {
 public:
  using Action = std::function<void()>;

  SimulatedTime();
  SimulatedTime(const SimulatedTime&) = delete;
  SimulatedTime& operator=(const SimulatedTime&) = delete;
  ~SimulatedTime();

  /// When this object was made.
  [[nodiscard]] time_point start() const { return begin; }
  [[nodiscard]] static time_point now();

  /// The time that something takes.
  static void pass(nanoseconds time);

  /// Does something in the course of the timed wait that reaches this time; it ends that wait if it notifies.
  void at(nanoseconds sinceStart, Action action);
  /// Does something at the beginning of each timed wait.
  void beforeEachWait(Action action) { preparation = std::move(action); }
  /// For an action: ends the wait as the system may, without a notification.
  void wakeSpuriously() { woken = true; }

  /// One timed wait: true when it was notified, false at the deadline.
  bool wait(const void* condition, time_point deadline);
  void notified(const void* condition);

 private:
  const time_point begin;
  std::multimap<time_point, Action> actions;
  Action preparation = [] {};
  std::atomic<const void*> awaited{nullptr};
  std::atomic<bool> woken{false};
};

/// Stops the steady clock and the system clock at a time that is far ahead, so that timed waits sleep until they
/// are notified. One at a time.
class FrozenClocks {
 public:
  FrozenClocks();
  FrozenClocks(const FrozenClocks&) = delete;
  FrozenClocks& operator=(const FrozenClocks&) = delete;
  ~FrozenClocks();

  [[nodiscard]] time_point steady() const;
  /// Seconds since the epoch.
  [[nodiscard]] long long system() const;
  /// Moves the steady clock only.
  void advance(nanoseconds time);
};

/// Timed waits of the thread that made it have no deadline.
class EndlessWaits {
 public:
  EndlessWaits();
  EndlessWaits(const EndlessWaits&) = delete;
  EndlessWaits& operator=(const EndlessWaits&) = delete;
  ~EndlessWaits();
};

/// Runs a function on a thread of its own and knows when that thread sleeps on a condition variable without anybody
/// having woken it. One at a time. The destructor joins it.
class WatchedThread {
 public:
  explicit WatchedThread(std::function<void()> body);
  WatchedThread(const WatchedThread&) = delete;
  WatchedThread& operator=(const WatchedThread&) = delete;
  ~WatchedThread();

  [[nodiscard]] static bool isAsleep();
  /// Waits until it sleeps.
  static void awaitSleep();

 private:
  std::thread thread;
};
