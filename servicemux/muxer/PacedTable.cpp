#include "servicemux/muxer/PacedTable.h"

#include <algorithm>
#include <utility>

#include "servicemux/muxer/GapGroup.h"
#include "servicemux/muxer/UtcSecond.h"
#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;

nanoseconds part(nanoseconds whole, double share) {
  return nanoseconds(static_cast<nanoseconds::rep>(static_cast<double>(whole.count()) * share));
}

}  // namespace

/// Takes over content. What is known of the sections before holds for those of the same number; further ones are
/// taken to follow evenly over a period. Where much is put on air at once they keep the turn that each table has,
/// so that they do not all come to be due together.
void PacedTable::put(TableLayout newLayout, const Conditions& conditions, time_point wantedBy) {
  if (arrivals.empty()) isNew = true;
  const std::size_t known = isNew ? 0 : std::min(arrivals.size(), newLayout.packets.size());
  layout = std::move(newLayout);
  arrivals.resize(layout.packets.size());
  const nanoseconds whole = period(conditions);
  const nanoseconds share = whole / std::max<nanoseconds::rep>(1, static_cast<nanoseconds::rep>(arrivals.size()));
  const time_point first = std::min(wantedBy, conditions.now + share / 2);
  for (std::size_t i = known; i < arrivals.size(); ++i)
    arrivals[i] = first - whole + share * static_cast<nanoseconds::rep>(i);
  isPrompt = true;
  promptSince = conditions.now;
  promptBy = wantedBy;
}

/// Where all periods are stretched nothing can be in time, and what counts is the average: the next period begins
/// with the due time of this one.
void PacedTable::arrived(std::size_t section, const Conditions& conditions) {
  previous = conditions.now;
  isNew = false;
  if (section >= arrivals.size()) return;
  const nanoseconds whole = period(conditions);
  arrivals[section] = conditions.stretch > 1
                          ? std::clamp(arrivals[section] + whole, conditions.now - whole, conditions.now)
                          : conditions.now;
}

void PacedTable::plan(const Conditions& conditions) {
  if (layout.kind == TableLayout::Kind::kQueued)
    planQueued(conditions);
  else if (layout.second != nullptr)
    planOnTheSecond(conditions);
  else if (layout.hasSections)
    planRepeated(conditions);
  else
    planEvenly(conditions);
  if (group != nullptr) postpone(group->end + standards::kGap);
}

/// What is queued keeps its own pace, counted from due time to due time. Messages that have one are late for
/// nobody: where there is too little room, tables go first.
void PacedTable::planQueued(const Conditions& conditions) {
  const nanoseconds wait = isOfMessages() ? conditions.wait : nanoseconds::zero();
  if (isPrompt) job.eligible = conditions.now;
  isPrompt = false;
  job.section = 0;
  job.possible = job.eligible;
  job.mustGo = job.hurried = job.eligible + wait;
  job.pressing = isOfMessages() ? job.mustGo + standards::kMessagesWait : job.mustGo;
  job.deadline = job.pressing + standards::kPrompt;
}

void PacedTable::planOnTheSecond(const Conditions& conditions) {
  const nanoseconds elapsed = layout.second->elapsed();
  if (isPrompt) {
    job.eligible = conditions.now + vantor::untilSecond(elapsed, period(conditions));
  } else {
    const nanoseconds then = (elapsed - (conditions.now - previous)) % nanoseconds(boost::chrono::seconds(1));
    job.eligible = previous + untilNextSecond(then, period(conditions));
  }
  isPrompt = false;
  job.section = 0;
  job.possible = job.mustGo = job.hurried = job.pressing = job.eligible;
  job.deadline = job.eligible + milliseconds(5);
}

/// How long until a table that tells the second may begin: its clock may have been set since it was planned.
nanoseconds PacedTable::untilSecond(const Conditions& conditions) const {
  if (layout.second == nullptr) return nanoseconds::zero();
  return vantor::untilSecond(layout.second->elapsed(), period(conditions));
}

/// Packets that nobody decodes have no limits: their average is held, not their maximum.
void PacedTable::planEvenly(const Conditions& conditions) {
  const nanoseconds whole = period(conditions);
  job.eligible = isPrompt ? conditions.now : std::max(job.eligible, conditions.now - whole) + whole;
  isPrompt = false;
  job.section = 0;
  job.possible = job.eligible;
  job.mustGo = job.eligible + conditions.wait;
  job.hurried = job.pressing = job.deadline = job.mustGo + standards::kPrompt;
}

void PacedTable::planRepeated(const Conditions& conditions) {
  const auto next = std::min_element(arrivals.begin(), arrivals.end());
  const nanoseconds whole = period(conditions);
  job.section = static_cast<std::size_t>(next - arrivals.begin());
  const time_point from = *next - duration(job.section, conditions);
  const nanoseconds share = part(whole, standards::kApart) / static_cast<int>(arrivals.size());
  const time_point apart = std::min(previous + share, from + part(whole, standards::kLate));
  const double eligible = conditions.stretch > 1 ? 1 : standards::kEligible;
  job.possible = from + part(whole, standards::kEarliest);
  job.eligible = std::max(from + part(whole, eligible), apart);
  job.mustGo = job.eligible + std::min(conditions.wait, part(whole, standards::kWait));
  job.hurried = std::max(job.mustGo, from + part(whole, standards::kPressing));
  job.deadline = from + whole;
  job.pressing = std::max<time_point>(job.hurried, job.deadline - standards::kLongestPressing);
  if (conditions.stretch > 1) job.deadline += whole / 4;  // so that short periods come first
  if (isPrompt) planPrompt(conditions);
}

/// New content leaves as soon as there is room for it: its first section, or the one that is planned when that is
/// to leave by then anyway. A table that was not on air is late for nobody: what is on air goes first.
void PacedTable::planPrompt(const Conditions& conditions) {
  if (isNew || promptBy + duration(0, conditions) + standards::kGap <= job.eligible) job.section = 0;
  job.possible = job.eligible = job.mustGo = job.hurried = promptSince;
  job.pressing = isNew ? promptBy : std::clamp(job.pressing, promptSince, promptBy);
  job.deadline = isNew ? promptBy : std::clamp(job.deadline, job.pressing, promptBy);
}

/// Nothing can be sent before.
void PacedTable::postpone(time_point until) {
  job.possible = std::max(job.possible, until);
  job.eligible = std::max(job.eligible, until);
  job.mustGo = std::max(job.mustGo, until);
  job.hurried = std::max(job.hurried, until);
  job.pressing = std::max(job.pressing, until);
}

nanoseconds PacedTable::period(const Conditions& conditions) const {
  return part(milliseconds(layout.period), conditions.stretch);
}

/// From a section's first packet to its last.
nanoseconds PacedTable::duration(std::size_t section, const Conditions& conditions) const {
  if (section >= layout.packets.size()) return nanoseconds::zero();
  return conditions.packetInterval * (layout.packets[section] - 1);
}

}  // namespace vantor
