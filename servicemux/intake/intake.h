#pragma once

#include <vector>

#include "interface/converters/optionals.h"
#include "interface/psi/section.h"
#include "servicemux/sections/sections.h"

/// What the table operations share.

namespace vantor {

/// A version that does not fit is sent as 0.
inline void clampVersion(unsigned char& version) {
  if (version > kMaxVersion) version = 0;
}

/// Which of a record's items begin a section.
template <typename Item>
SectionStarts sectionStarts(const std::vector<Item>& items) {
  SectionStarts starts;
  starts.reserve(items.size());
  for (const Item& item : items) starts.push_back(thrift::dvb_tables::startsSection(item));
  return starts;
}

inline unsigned int sectionCount(const SectionChain& sections) { return sections->i_last_number + 1U; }

}  // namespace vantor
