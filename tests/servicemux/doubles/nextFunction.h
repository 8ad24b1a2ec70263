#pragma once

#include <dlfcn.h>

/// The function that a double in this program hides: a sanitizer's or the C library's.
template <typename Function>
Function* nextFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
