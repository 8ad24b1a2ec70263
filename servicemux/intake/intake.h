#pragma once

#include "servicemux/sections/sections.h"

/// What the table operations share.

namespace vantor {

/// version_number has 5 bits: a version that does not fit is sent as 0.
inline void clampVersion(unsigned char& version) {
  constexpr unsigned char kMaxVersion = 31;
  if (version > kMaxVersion) version = 0;
}

inline unsigned int sectionCount(const SectionChain& sections) { return sections->i_last_number + 1U; }

}  // namespace vantor
