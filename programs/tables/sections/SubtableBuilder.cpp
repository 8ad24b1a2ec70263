#include "programs/tables/sections/SubtableBuilder.h"

namespace vantor::tables {

std::vector<Section> inOrder(const NumberedSections& numbered) {
  std::vector<Section> out;
  out.reserve(numbered.size());
  for (const auto& part : numbered) out.push_back(part.second);
  return out;
}

bool SubtableBuilder::add(const Section& section) {
  keepNewest(section);
  if (!isSameVersion(section)) parts.clear();
  const auto [part, isNew] = parts.try_emplace(section.number(), section);
  if (!isNew) {
    if (part->second.bytes() == section.bytes()) return false;
    // Other content under the same version: whoever sent it did not count, but the table is a new one.
    if (!sectionsStandAlone) parts.clear();
    parts.insert_or_assign(section.number(), section);
  }
  return true;
}

void SubtableBuilder::settle() {
  settled = true;
  latest.clear();
}

void SubtableBuilder::keepNewest(const Section& section) {
  if (!sectionsStandAlone || settled) return;
  if (!latest.empty() && latest.begin()->second.currentNext() != section.currentNext()) {
    if (!section.currentNext()) return;
    latest.clear();
  }
  latest.insert_or_assign(section.number(), section);
}

bool SubtableBuilder::isSameVersion(const Section& section) const {
  if (parts.empty()) return false;
  const Section& other = parts.begin()->second;
  return other.extension() == section.extension() && other.version() == section.version() &&
         other.currentNext() == section.currentNext() && other.lastNumber() == section.lastNumber();
}

}  // namespace vantor::tables
