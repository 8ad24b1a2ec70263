#include "programs/tables/sections/OtherPids.h"

#include "programs/tables/sections/payload.h"

namespace vantor::tables {

namespace {

/// What is no section can look like one without syntax.
constexpr std::size_t kMostWithoutSyntax = 256;

}  // namespace

void OtherPids::push(std::uint16_t pid, std::string_view packet) {
  Pid& state = found[pid];
  if (state.isOther) return;
  if (beginsPes(packet) || isScrambled(packet)) {
    state = Pid();
    state.isOther = true;
    assemblers.erase(pid);
    return;
  }
  assemblers
      .try_emplace(
          pid, [&state](const Section& section) { take(state, section); }, [](SectionFault) {})
      .first->second.push(packet);
}

void OtherPids::take(Pid& pid, const Section& section) {
  if (!pid.known.insert(std::string(section.bytes())).second) return;
  if (section.hasSyntax()) {
    pid.sections.push_back(section);
    return;
  }
  pid.withoutSyntax.push_back(section);
  if (pid.withoutSyntax.size() <= kMostWithoutSyntax) return;
  pid.known.erase(std::string(pid.withoutSyntax.front().bytes()));
  pid.withoutSyntax.erase(pid.withoutSyntax.begin());
}

std::vector<std::uint16_t> OtherPids::pids() const {
  std::vector<std::uint16_t> all;
  for (const auto& [pid, state] : found) all.push_back(pid);
  return all;
}

std::vector<Section> OtherPids::sectionsOf(std::uint16_t pid, bool expected) const {
  const auto state = found.find(pid);
  if (state == found.end()) return {};
  std::vector<Section> sections = state->second.sections;
  if (expected)
    sections.insert(sections.end(), state->second.withoutSyntax.begin(), state->second.withoutSyntax.end());
  return sections;
}

}  // namespace vantor::tables
