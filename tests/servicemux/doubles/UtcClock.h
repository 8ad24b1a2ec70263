#pragma once

#include <atomic>
#include <functional>

/// The host's UTC clock while it lives. One at a time.
class UtcClock {
 public:
  UtcClock();
  UtcClock(const UtcClock&) = delete;
  UtcClock& operator=(const UtcClock&) = delete;
  ~UtcClock();

  std::atomic<long long> time{0};     ///< what GetUTCTime returns
  std::atomic<int> systemTimeSet{0};  ///< what IsSystemTimeSet returns
  std::atomic<int> reads{0};          ///< of the time
  std::function<void()> onRead = [] {};
};
