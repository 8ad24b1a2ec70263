#pragma once

#include <atomic>
#include <thread>

/// Waits for another thread to set the flag.
inline void await(const std::atomic<bool>& flag) {
  while (!flag) std::this_thread::yield();
}
