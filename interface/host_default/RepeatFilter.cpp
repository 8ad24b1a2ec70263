#include "interface/host_default/RepeatFilter.h"

namespace vantor {

bool RepeatFilter::passes(std::string_view text, Time now) {
  auto found = texts.find(text);
  if (found == texts.end()) {
    if (texts.size() >= kMaxTexts) return true;
    found = texts.emplace(text, Second{now}).first;
  }
  Second& second = found->second;
  if (++second.messages <= kMaxPerSecond && !second.flooded) return true;
  ++second.held;
  return false;
}

std::vector<RepeatFilter::Summary> RepeatFilter::takeEnded(Time now) {
  std::vector<Summary> summaries;
  for (auto text = texts.begin(); text != texts.end();) {
    const Second& second = text->second;
    if (!isOver(second, now)) {
      ++text;
      continue;
    }
    if (second.held > 0) summaries.push_back({text->first, second.held});
    if (second.messages > kMaxPerSecond)
      (text++)->second = {now, 0, 0, true};
    else
      text = texts.erase(text);
  }
  return summaries;
}

std::vector<RepeatFilter::Summary> RepeatFilter::takeAll() {
  std::vector<Summary> summaries;
  for (const auto& [text, second] : texts)
    if (second.held > 0) summaries.push_back({text, second.held});
  texts.clear();
  return summaries;
}

/// Messages of several threads arrive slightly out of order, so only a whole second back counts as a jump.
bool RepeatFilter::isOver(const Second& second, Time now) {
  return std::chrono::abs(now - second.start) >= std::chrono::seconds(1);
}

}  // namespace vantor
