#include "tests/servicemux/doubles/HeldLocks.h"

#include <pthread.h>

#include <algorithm>
#include <functional>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

thread_local HeldLocks* current = nullptr;

}  // namespace

HeldLocks::HeldLocks(const void* object, std::size_t size)
    : begin(object), end(static_cast<const char*>(object) + size) {
  current = this;
}

HeldLocks::~HeldLocks() { current = nullptr; }

void HeldLocks::locked(const void* mutex) {
  const std::less<const void*> isBefore;
  if (!isBefore(mutex, begin) && isBefore(mutex, end)) {
    held.insert(mutex);
    if (std::find(own.begin(), own.end(), mutex) == own.end()) own.push_back(mutex);
  } else if (!held.empty() && (heldElsewhere.empty() || heldElsewhere.back() != held)) {
    heldElsewhere.push_back(held);
  }
}

void HeldLocks::unlocked(const void* mutex) { held.erase(mutex); }

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*)>("pthread_mutex_lock");
  const int result = real(mutex);
  if (current != nullptr && result == 0) current->locked(mutex);
  return result;
}

extern "C" int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*)>("pthread_mutex_trylock");
  const int result = real(mutex);
  if (current != nullptr && result == 0) current->locked(mutex);
  return result;
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*)>("pthread_mutex_unlock");
  if (current != nullptr) current->unlocked(mutex);
  return real(mutex);
}
