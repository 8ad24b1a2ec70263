#pragma once

#include <functional>

/// Calls back on the thread that made it before each mutex that this thread locks, destroys or unlocks, so that a
/// test can hold a thread at the one point that matters. The callbacks must not lock a mutex.
class LockHook {
 public:
  using Callback = std::function<void(const void* mutex)>;

  explicit LockHook(
      Callback onLock, Callback onDestroy = [](const void*) {}, Callback onUnlock = [](const void*) {});
  LockHook(const LockHook&) = delete;
  LockHook& operator=(const LockHook&) = delete;
  ~LockHook();

  const Callback onLock;
  const Callback onDestroy;
  const Callback onUnlock;
};
