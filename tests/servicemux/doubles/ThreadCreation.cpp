#include "tests/servicemux/doubles/ThreadCreation.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

constexpr int kUnlimited = -1;
std::atomic<int> left{kUnlimited};

}  // namespace

ThreadCreation::ThreadCreation(int wanted) { left = wanted; }

ThreadCreation::~ThreadCreation() { left = kUnlimited; }

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept {
  static const auto real =
      nextFunction<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  if (left == 0) return EAGAIN;
  if (left > 0) --left;
  const int result = real(thread, attributes, start, argument);
  if (result == 0) recordCreation(*thread);
  return result;
}
