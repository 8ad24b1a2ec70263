#pragma once

#include "interface/psi/section.h"
#include "servicemux/sections/sections.h"

/// What the table operations share.

namespace vantor {

/// A version that does not fit is sent as 0.
inline void clampVersion(unsigned char& version) {
  if (version > kMaxVersion) version = 0;
}

inline unsigned int sectionCount(const SectionChain& sections) { return sections->i_last_number + 1U; }

}  // namespace vantor
