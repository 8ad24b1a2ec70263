#include "tests/servicemux/doubles/MutexCreation.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

constexpr int kUnlimited = -1;
std::atomic<int> left{kUnlimited};
std::atomic<bool> failed{false};

}  // namespace

MutexCreation::MutexCreation(int wanted) {
  failed = false;
  left = wanted;
}

MutexCreation::~MutexCreation() { left = kUnlimited; }

bool MutexCreation::hasFailed() const { return failed; }

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
  static const auto real = nextFunction<int(pthread_mutex_t*, const pthread_mutexattr_t*)>("pthread_mutex_init");
  if (left == 0) {
    failed = true;
    return ENOMEM;
  }
  if (left > 0) --left;
  return real(mutex, attributes);
}
