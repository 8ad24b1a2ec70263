#include "tests/servicemux/doubles/Allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

#include "tests/sanitized.h"

namespace {

std::atomic<std::uint64_t> allocations{0};
std::atomic<std::uint64_t> releases{0};

void count() { allocations.fetch_add(1, std::memory_order_relaxed); }
void countRelease() { releases.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

std::uint64_t countAllocations() { return allocations.load(); }

std::uint64_t countReleases() { return releases.load(); }

#if SANITIZED

// A sanitizer has an allocator of its own, which calls back. Not every compiler installs the header for it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                                         void (*onFree)(const volatile void*));

[[maybe_unused]] static const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t) { count(); }, [](const volatile void*) { countRelease(); });

#else

// The C library's own names for what these functions hide.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
  count();
  return __libc_malloc(size);
}

void free(void* memory) {
  countRelease();
  __libc_free(memory);
}

void* calloc(std::size_t number, std::size_t size) {
  count();
  return __libc_calloc(number, size);
}

void* realloc(void* old, std::size_t size) {
  count();
  return __libc_realloc(old, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  count();
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** result, std::size_t alignment, std::size_t size) {
  count();
  *result = __libc_memalign(alignment, size);
  return *result == nullptr ? ENOMEM : 0;
}

}  // extern "C"

#endif
