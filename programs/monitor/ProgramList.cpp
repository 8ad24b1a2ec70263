#include "programs/monitor/ProgramList.h"

#include <string_view>

#include "interface/psi/sectioning.h"

namespace vantor::monitor {

void ProgramList::take(const tables::Section& pat) {
  if (pat.version() != version || pat.extension() != stream || pat.lastNumber() != lastNumber) sections.clear();
  version = pat.version();
  stream = pat.extension();
  lastNumber = pat.lastNumber();
  std::set<Program>& listed = sections[pat.number()];
  listed.clear();
  const std::string_view entries = pat.payload();
  for (std::size_t at = 0; at + kPatProgramSize <= entries.size(); at += kPatProgramSize) {
    const std::uint16_t number = tables::wordAt(entries, at);
    // Number 0 is the NIT.
    if (number != 0) listed.emplace(tables::pidAt(entries, at + 2), number);
  }
}

std::set<ProgramList::Program> ProgramList::programs() const {
  std::set<Program> all;
  for (const auto& [number, listed] : sections) all.insert(listed.begin(), listed.end());
  return all;
}

}  // namespace vantor::monitor
