#include "tests/servicemux/doubles/LockHook.h"

#include <pthread.h>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

thread_local const LockHook* current = nullptr;

}  // namespace

LockHook::LockHook(Callback onLock, Callback onDestroy, Callback onUnlock)
    : onLock(std::move(onLock)), onDestroy(std::move(onDestroy)), onUnlock(std::move(onUnlock)) {
  current = this;
}

LockHook::~LockHook() { current = nullptr; }

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*)>("pthread_mutex_lock");
  if (current != nullptr) current->onLock(mutex);
  return real(mutex);
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*)>("pthread_mutex_unlock");
  if (current != nullptr) current->onUnlock(mutex);
  return real(mutex);
}

extern "C" int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*)>("pthread_mutex_destroy");
  if (current != nullptr) current->onDestroy(mutex);
  return real(mutex);
}
