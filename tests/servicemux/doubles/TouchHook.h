#pragma once

#include <cstddef>
#include <functional>

/// Calls back, on the thread that does it, before memory is read or written, so that a test can hold a thread in
/// the middle of a copy. Covers the first whole page behind `memory`; `offset` tells where that page begins. When a
/// callback returns the page is open to everybody. The callback runs in a signal handler: it may touch atomics and
/// yield, nothing else. One object at a time.
class TouchHook {
 public:
  TouchHook(void* memory, std::function<void(const void* address)> onTouch);
  TouchHook(const TouchHook&) = delete;
  TouchHook& operator=(const TouchHook&) = delete;
  ~TouchHook();

  /// Where the covered page begins, counted from `memory` on.
  static std::size_t offset(const void* memory);
};
