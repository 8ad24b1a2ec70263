#include "tests/servicemux/doubles/TouchHook.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>

namespace {

// Set before the page is closed, read by the handler.
std::function<void(const void* address)> callback;
std::atomic<char*> page{nullptr};
struct sigaction previous;

std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

void handle(int, siginfo_t* info, void*) {
  char* const closed = page.load();
  const auto* const touched = static_cast<char*>(info->si_addr);
  if (closed == nullptr || touched < closed || touched >= closed + pageSize()) {
    sigaction(SIGSEGV, &previous, nullptr);  // a fault of another kind: it comes again and ends the process
    return;
  }
  callback(touched);
  mprotect(closed, pageSize(), PROT_READ | PROT_WRITE);
}

}  // namespace

TouchHook::TouchHook(void* memory, std::function<void(const void* address)> onTouch) {
  callback = std::move(onTouch);
  struct sigaction action = {};
  action.sa_sigaction = handle;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, &previous);
  page.store(static_cast<char*>(memory) + offset(memory));
  mprotect(page.load(), pageSize(), PROT_NONE);
}

TouchHook::~TouchHook() {
  mprotect(page.load(), pageSize(), PROT_READ | PROT_WRITE);
  page.store(nullptr);
  sigaction(SIGSEGV, &previous, nullptr);
}

std::size_t TouchHook::offset(const void* memory) {
  const std::size_t past = reinterpret_cast<std::uintptr_t>(memory) % pageSize();
  return past == 0 ? 0 : pageSize() - past;
}
