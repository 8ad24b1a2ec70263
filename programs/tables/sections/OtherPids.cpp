#include "programs/tables/sections/OtherPids.h"

#include "programs/tables/sections/payload.h"

namespace vantor::tables {

namespace {

/// What is no section can look like one without syntax; so many are more than the tables of a PID ever have.
constexpr std::size_t kMostWithoutSyntax = 4096;

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
  if (++pid.times[std::string(section.bytes())] > 1) return;
  if (section.hasSyntax()) {
    pid.sections.push_back(section);
    return;
  }
  pid.withoutSyntax.push_back(section);
  if (pid.withoutSyntax.size() <= kMostWithoutSyntax) return;
  pid.times.erase(pid.times.find(pid.withoutSyntax.front().bytes()));
  pid.withoutSyntax.pop_front();
}

std::vector<std::uint16_t> OtherPids::pids() const {
  std::vector<std::uint16_t> all;
  for (const auto& [pid, state] : found) all.push_back(pid);
  return all;
}

std::vector<OtherPids::Found> OtherPids::sectionsOf(std::uint16_t pid, bool expected) const {
  const auto state = found.find(pid);
  if (state == found.end()) return {};
  std::vector<Found> sections;
  const auto add = [&](const std::deque<Section>& some) {
    for (const Section& section : some)
      sections.push_back({section, state->second.times.find(section.bytes())->second});
  };
  add(state->second.sections);
  if (expected) add(state->second.withoutSyntax);
  return sections;
}

}  // namespace vantor::tables
