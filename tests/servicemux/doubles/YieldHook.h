#pragma once

#include <functional>

/// Calls back on the thread that made it whenever this thread yields: it waits for another one without sleeping.
class YieldHook {
 public:
  explicit YieldHook(std::function<void()> onYield);
  YieldHook(const YieldHook&) = delete;
  YieldHook& operator=(const YieldHook&) = delete;
  ~YieldHook();

  const std::function<void()> onYield;
};
