#include "servicemux/muxer/Lane.h"

#include <algorithm>
#include <cstring>

#include "interface/psi/packet.h"
#include "servicemux/muxer/GapGroup.h"
#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

/// Of a section of 4096 bytes behind its pointer_field.
constexpr std::size_t kPacketsOfASection = 23;

/// A fast PID may fall behind by what one datagram holds.
constexpr int kGathered = 7;

/// How many tables are looked at that might get late behind a section.
constexpr int kLookAhead = 8;

/// Others of the PID may come between, each with two packets.
constexpr boost::chrono::nanoseconds kRoomForOthers = 6 * standards::kBufferInterval;

}  // namespace

Lane::Lane(unsigned short pid) : pid(pid) {
  reserve(kPacketsOfASection);
  refresh();
}

void Lane::reserve(std::size_t packets) { section.reserve(packets * kPacketSize); }

void Lane::add(PacedTable& table) { table.lane = this; }

void Lane::remove(PacedTable& table) {
  detach(table);
  if (current == &table) {
    const auto left = static_cast<unsigned int>((section.size() - offset) / kPacketSize);
    table.stream->continueFrom(static_cast<unsigned char>((lastCC + left) & kContinuityMask));
    current = nullptr;
  }
  table.lane = nullptr;
  table.group = nullptr;
  table.arrivals.clear();
}

void Lane::clear() {
  while (!waiting.empty()) remove(*waiting.begin());
  while (!ready.empty()) remove(*ready.begin());
  if (current != nullptr) remove(*current);
  section.clear();
  offset = 0;
  group = nullptr;
  rate = 0;
  isNew = true;
}

bool Lane::holds(const PacedTable& table) const {
  const bool isPlanned = table.waitingHook.is_linked() || table.readyHook.is_linked();
  return current == &table || (isPlanned && table.job.eligible != time_point::max());
}

void Lane::detach(PacedTable& table) {
  if (table.waitingHook.is_linked()) waiting.erase(waiting.iterator_to(table));
  if (table.readyHook.is_linked()) ready.erase(ready.iterator_to(table));
}

void Lane::insert(PacedTable& table) { waiting.insert(table); }

void Lane::replan(PacedTable& table, const Conditions& conditions) {
  if (current == &table) return;
  detach(table);
  table.plan(conditionsHere(conditions));
  insert(table);
}

Lane::Conditions Lane::conditionsHere(Conditions conditions) const {
  conditions.packetInterval = packetInterval();
  return conditions;
}

/// How long a section of a table takes at most: its packets wait for their slots behind those of other PIDs.
Lane::nanoseconds Lane::longest(const PacedTable& table, Conditions conditions) const {
  conditions.packetInterval = std::max(packetInterval(), conditions.slot + conditions.slot / 4);
  return table.duration(table.job.section, conditions);
}

void Lane::replanAll(const Conditions& conditions) {
  while (!ready.empty()) {
    PacedTable& table = *ready.begin();
    detach(table);
    insert(table);
  }
  Waiting all;
  all.swap(waiting);
  while (!all.empty()) {
    PacedTable& table = *all.begin();
    all.erase(all.begin());
    if (table.isPeriodic())
      replan(table, conditions);
    else
      insert(table);
  }
}

/// What is asked for more than a decoder's buffer passes on cannot spare it.
bool Lane::isFast() const { return rate >= standards::kBufferRate; }

/// From packet to packet where all that is asked for is spread evenly, and a little faster.
Lane::nanoseconds Lane::averageInterval() const {
  if (rate == 0) return nanoseconds::zero();
  return nanoseconds(static_cast<nanoseconds::rep>(static_cast<double>(standards::kOnePacketASecond) /
                                                   static_cast<double>(rate) / standards::kHaste));
}

Lane::nanoseconds Lane::packetInterval() const {
  return isFast() ? averageInterval() : nanoseconds(standards::kBufferInterval);
}

double Lane::load() const {
  return static_cast<double>(packetInterval().count()) * static_cast<double>(rate) /
         static_cast<double>(standards::kOnePacketASecond);
}

/// Two packets may leave together, three may not: that is what a decoder's buffer holds.
Lane::time_point Lane::packetMayAt() const {
  return isFast() ? clock : beforeLast + 2 * standards::kBufferInterval;
}

Lane::time_point Lane::packetMustGo() const {
  return isFast() ? clock + (kGathered - 1) * packetInterval() : packetMayAt();
}

/// Sections are spread over the time they have, unless one is hurried.
Lane::time_point Lane::sectionMayAt(time_point whenHurried) const {
  return std::max(packetMayAt(), std::min(clock, whenHurried));
}

void Lane::left(time_point now) {
  beforeLast = last;
  last = now;
  const nanoseconds interval = averageInterval();
  clock = std::max(clock, isFast() ? now - kGathered * interval : now) + interval;
}

/// A section that is under way presses when a table behind it does.
void Lane::refresh() {
  mayAt = mustGo = pressing = deadline = time_point::max();
  time_point hurried = time_point::max();
  const auto meet = [&](const PacedTable::Job& job) {
    hurried = std::min(hurried, job.hurried);
    mustGo = std::min(mustGo, job.mustGo);
    pressing = std::min(pressing, job.pressing);
    deadline = std::min(deadline, job.deadline);
  };
  int looked = 0;
  for (const PacedTable& table : ready) {
    if (looked++ == kLookAhead) break;
    meet(table.job);
  }
  looked = 0;
  time_point lookAgain = time_point::max();
  for (const PacedTable& table : waiting) {
    if (table.job.eligible >= std::max(pressing, sectionMayAt(hurried))) break;
    if (looked++ == kLookAhead) {
      lookAgain = std::max(packetMayAt(), table.job.eligible);
      break;
    }
    meet(table.job);
  }
  if (isUnderWay()) {
    mayAt = packetMayAt();
    mustGo = packetMustGo();
    pressing = std::min(pressing, currentPressing);
    deadline = std::min(deadline, currentDeadline);
  } else if (mustGo != time_point::max()) {
    mayAt = std::min(sectionMayAt(hurried), lookAgain);
    if (ready.empty()) mayAt = std::max(mayAt, waiting.begin()->job.eligible);
    mustGo = std::max(mustGo, mayAt);
  }
  pressing = std::max(pressing, mayAt);
}

bool Lane::take(time_point now, time_point soon, const Conditions& conditions, signed char* packet) {
  if (packetMayAt() > now) return false;
  if (!isUnderWay() && !begin(now, soon, conditions)) return false;
  std::memcpy(packet, section.data() + offset, kPacketSize);
  offset += kPacketSize;
  stamp(packet, current != nullptr ? current->stream : nullptr);
  left(now);
  if (!isUnderWay()) end(now, conditions);
  return true;
}

bool Lane::fill(PacedTable& filler, time_point now, signed char* packet) {
  if (!isUnderWay()) {
    section.clear();
    offset = 0;
    if (!filler.stream->takeSection(filler, filler.job.section, now, section)) return false;
    filler.job.section = (filler.job.section + 1) % filler.layout.packets.size();
  }
  std::memcpy(packet, section.data() + offset, kPacketSize);
  offset += kPacketSize;
  stamp(packet, filler.stream);
  return true;
}

/// Begins the section that is wanted most.
bool Lane::begin(time_point now, time_point soon, const Conditions& conditions) {
  admit(now, soon);
  section.clear();
  offset = 0;
  PacedTable* const table = choose(now, conditions);
  if (table == nullptr) return false;
  detach(*table);
  if (const nanoseconds early = table->untilSecond(conditions); early > nanoseconds::zero()) {
    table->postpone(now + early);
    insert(*table);
    return false;
  }
  table->isPrompt = false;
  number = table->job.section;
  if (!table->stream->takeSection(*table, number, now, section)) {
    // A queue is empty until there is more, anything else is just being replaced.
    const bool isQueue = table->layout.kind == TableLayout::Kind::kQueued;
    table->postpone(isQueue ? time_point::max() : now + standards::kGap);
    insert(*table);
    return false;
  }
  current = table;
  group = table->group;
  if (group != nullptr) ++group->users;
  currentPressing = table->job.pressing;
  currentDeadline = std::min(table->job.deadline, now + longest(*table, conditions));
  return true;
}

/// Makes the tables ready that are eligible, and those that would have to go before `soon`.
void Lane::admit(time_point now, time_point soon) {
  for (auto next = waiting.begin(); next != waiting.end() && next->job.eligible <= soon;) {
    PacedTable& table = *next++;
    if (table.job.eligible > now && (table.job.mustGo > soon || table.job.possible > now)) continue;
    waiting.erase(waiting.iterator_to(table));
    ready.insert(table);
  }
}

/// When the first of the tables that are ready is hurried.
Lane::time_point Lane::firstHurried() const {
  time_point first = time_point::max();
  int looked = 0;
  for (const PacedTable& table : ready) {
    if (looked++ == kLookAhead) break;
    first = std::min(first, table.job.hurried);
  }
  return first;
}

/// The ready table that is late first, of those whose distance to others is over; null when none may begin.
PacedTable* Lane::choose(time_point now, const Conditions& conditions) {
  while (!ready.empty()) {
    PacedTable& table = *ready.begin();
    if (possibleAt(table) <= now) {
      if (sectionMayAt(firstHurried()) > now) return nullptr;
      PacedTable* const other = endangeredBy(table, now, conditions);
      return other != nullptr ? other : &table;
    }
    detach(table);
    table.postpone(possibleAt(table));
    insert(table);
  }
  return nullptr;
}

/// When the distance to others is over.
Lane::time_point Lane::possibleAt(const PacedTable& table) {
  return table.group == nullptr ? time_point::min() : table.group->end + standards::kGap;
}

/// A table that would be late if the section of the chosen one went first, which is not late behind it. One that
/// was not on air before is not late for a period: where a PID is never without a section that is soon due, it
/// would never get there.
PacedTable* Lane::endangeredBy(const PacedTable& chosen, time_point now, const Conditions& conditions) {
  const time_point end = now + longest(chosen, conditions) + kRoomForOthers;
  const bool canWait = chosen.isNew && now < chosen.promptSince + chosen.period(conditions);
  const auto isEndangered = [&](const PacedTable& table) {
    return possibleAt(table) <= now && table.isPeriodic() && table.job.deadline < end &&
           (canWait || now + longest(table, conditions) + standards::kBufferInterval < chosen.job.deadline);
  };
  int looked = 0;
  for (PacedTable& table : ready) {
    if (looked++ == kLookAhead) break;
    if (isEndangered(table)) return &table;
  }
  looked = 0;
  for (PacedTable& table : waiting) {
    if (looked++ == kLookAhead || table.job.eligible > end) break;
    if (isEndangered(table)) return &table;
  }
  return nullptr;
}

/// The PID's own counter, ISO/IEC 13818-1 clause 2.4.3.3, whatever stream the packet is of.
void Lane::stamp(signed char* packet, muxed_stream* stream) {
  auto& header = reinterpret_cast<unsigned char*>(packet)[kContinuityOffset];
  if (isNew && stream != nullptr && stream->GetLastCC() != muxed_stream::kNoCC) lastCC = stream->GetLastCC();
  isNew = false;
  if (lastCC == muxed_stream::kNoCC)
    lastCC = header & kContinuityMask;
  else if ((header & kPayloadFlag) != 0)
    lastCC = (lastCC + 1) & kContinuityMask;
  header = static_cast<unsigned char>((header & ~kContinuityMask) | lastCC);
  if (stream != nullptr) stream->continueFrom(lastCC);
}

void Lane::end(time_point now, const Conditions& conditions) {
  endedGroup = group;
  if (group != nullptr) {
    group->end = now;
    --group->users;
    group = nullptr;
  }
  PacedTable* const table = current;
  current = nullptr;
  if (table == nullptr) return;
  table->arrived(number, conditionsHere(conditions));
  if (table->layout.kind == TableLayout::Kind::kQueued)
    table->job.eligible = std::max(table->job.eligible, now - kGathered * table->interval) +
                          table->interval * static_cast<nanoseconds::rep>(section.size() / kPacketSize);
  if (table->repeats) table->postpone(now + standards::kGap);
  replan(*table, conditions);
}

}  // namespace vantor
