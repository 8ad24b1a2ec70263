#include "tests/servicemux/doubles/ThreadCalls.h"

#include <pthread.h>

#include <cerrno>
#include <map>
#include <mutex>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

// Guarded by mutex.
std::mutex mutex;
bool recording = false;
bool refusing = false;
std::vector<std::string> calls;
std::map<pthread_t, std::string> names;  // of the threads that were created

}  // namespace

ThreadCalls::ThreadCalls(Priorities wanted) {
  const std::lock_guard lock(mutex);
  recording = true;
  refusing = wanted == Priorities::kRefused;
  calls.clear();
  names.clear();
}

ThreadCalls::~ThreadCalls() {
  const std::lock_guard lock(mutex);
  recording = false;
}

std::vector<std::string> ThreadCalls::made() const {
  const std::lock_guard lock(mutex);
  return calls;
}

void recordCreation(pthread_t thread) {
  const std::lock_guard lock(mutex);
  if (!recording) return;
  calls.push_back("create");
  names[thread] = "unnamed";
}

extern "C" int pthread_setname_np(pthread_t thread, const char* name) noexcept {
  static const auto real = nextFunction<int(pthread_t, const char*)>("pthread_setname_np");
  {
    const std::lock_guard lock(mutex);
    if (recording) {
      calls.push_back(std::string("name ") + name);
      names[thread] = name;
    }
  }
  return real(thread, name);
}

extern "C" int pthread_setschedparam(pthread_t thread, int policy, const sched_param* parameters) noexcept {
  static const auto real = nextFunction<int(pthread_t, int, const sched_param*)>("pthread_setschedparam");
  {
    const std::lock_guard lock(mutex);
    if (recording) {
      const std::string priority = std::to_string(parameters->sched_priority);
      calls.push_back((policy == SCHED_FIFO ? "SCHED_FIFO " : "other policy ") + priority);
      return refusing ? EPERM : 0;
    }
  }
  return real(thread, policy, parameters);
}

extern "C" int pthread_join(pthread_t thread, void** result) {
  static const auto real = nextFunction<int(pthread_t, void**)>("pthread_join");
  {
    const std::lock_guard lock(mutex);
    const auto known = names.find(thread);
    if (recording && known != names.end()) calls.push_back("join " + known->second);
  }
  return real(thread, result);
}
