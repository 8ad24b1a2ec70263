#pragma once

// SANITIZED is 1 where a sanitizer has put an allocator of its own in the place of the C library's, and takes its
// time.

#if defined(__has_feature)
#define SANITIZED_BY(name) __has_feature(name)
#else
#define SANITIZED_BY(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || SANITIZED_BY(address_sanitizer) || \
    SANITIZED_BY(thread_sanitizer)
#define SANITIZED 1
#else
#define SANITIZED 0
#endif
