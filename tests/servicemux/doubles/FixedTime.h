#pragma once

#include <ctime>

/// While it lives, time() stands still. One at a time.
class FixedTime {
 public:
  explicit FixedTime(std::time_t now);
  FixedTime(const FixedTime&) = delete;
  FixedTime& operator=(const FixedTime&) = delete;
  ~FixedTime();
};
