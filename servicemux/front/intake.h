#pragma once

#include "servicemux/sections/sections.h"

/// What the table operations share.

namespace vantor {

/// A version that does not fit in the 5 bits of version_number is sent as 0.
inline void clampVersion(unsigned char& version) {
  constexpr unsigned char kMaxVersion = 31;
  if (version > kMaxVersion) version = 0;
}

inline unsigned int sectionCount(const SectionChain& sections) { return sections->i_last_number + 1U; }

}  // namespace vantor
