#include "tests/servicemux/doubles/Watchdog.h"

#include <atomic>

#include "interface/host.h"

namespace {

std::atomic<Watchdog*> watchdog{nullptr};

}  // namespace

Watchdog::Watchdog() { watchdog.store(this); }

Watchdog::~Watchdog() { watchdog.store(nullptr); }

unsigned int watchdog_register_task(void) {
  Watchdog* const current = watchdog.load();
  if (current == nullptr) return 1;
  ++current->registered;
  return current->handle;
}

int watchdog_unregister_task(unsigned int handle) {
  Watchdog* const current = watchdog.load();
  if (current == nullptr) return 0;
  current->unregistered.push_back(handle);
  return current->unregisterResult;
}

void thread_alive(unsigned int handle) {
  if (Watchdog* const current = watchdog.load())
    current->alive.push_back({handle, boost::chrono::steady_clock::now()});
}
