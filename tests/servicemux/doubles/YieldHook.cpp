#include "tests/servicemux/doubles/YieldHook.h"

#include <sched.h>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

thread_local const YieldHook* current = nullptr;

}  // namespace

YieldHook::YieldHook(std::function<void()> onYield) : onYield(std::move(onYield)) { current = this; }

YieldHook::~YieldHook() { current = nullptr; }

extern "C" int sched_yield() noexcept {
  static const auto real = nextFunction<int()>("sched_yield");
  if (current != nullptr) current->onYield();
  return real();
}
