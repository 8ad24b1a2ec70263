#include "servicemux/muxer/StandardsPace.h"

#include <algorithm>
#include <cmath>

#include "interface/psi/packet.h"
#include "servicemux/muxer/packetTime.h"
#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

/// The rate of one packet in a period of 1 ms.
constexpr std::uint64_t kOnePacketAMillisecond = standards::kOnePacketASecond / 1000000;
constexpr double kMillionthsOfOneKbps = static_cast<double>(standards::kOnePacketASecond) / kNanosecondsTimesKbps;

/// New tables get what is left over, within these bounds, so that those on air are in time meanwhile.
constexpr double kLeastForNewWork = 0.1;
constexpr double kMostForNewWork = 1;

/// All plans are made anew when the stretch has moved by more than this.
constexpr double kNoticed = 0.05;

constexpr std::size_t kSpareGroups = 64;
constexpr std::size_t kPacketsAtOnce = 1024;  // in the datagrams of one wake-up, at most

double kbpsOf(std::uint64_t rate) { return static_cast<double>(rate) / kMillionthsOfOneKbps; }

std::uint64_t groupKey(unsigned short pid, const psi::TableKey& key) {
  return std::uint64_t{pid} << 24 | std::uint64_t{key.table_id} << 16 | key.extension;
}

std::size_t packetsOf(const TableLayout& layout) {
  std::size_t sum = 0;
  for (const std::uint32_t packets : layout.packets) sum += packets;
  return sum;
}

/// Millionths of a packet a second.
std::uint64_t needOf(const TableLayout& layout, boost::chrono::nanoseconds interval) {
  if (layout.kind == TableLayout::Kind::kRepeated)
    return packetsOf(layout) * kOnePacketAMillisecond / layout.period;
  const auto ns = static_cast<std::uint64_t>(interval.count());
  return layout.kind == TableLayout::Kind::kQueued && ns != 0 ? standards::kOnePacketASecond / ns : 0;
}

/// The part of the time that a table's sections take with the distance that each of them keeps.
double loadOf(const TableLayout& layout) {
  const auto sections = static_cast<boost::chrono::nanoseconds::rep>(layout.packets.size());
  const auto further = static_cast<boost::chrono::nanoseconds::rep>(packetsOf(layout)) - sections;
  const boost::chrono::nanoseconds taken = standards::kGap * sections + standards::kBufferInterval * further;
  return boost::chrono::duration<double, boost::milli>(taken).count() / layout.period;
}

std::size_t longestSection(const TableLayout& layout) {
  const auto longest = std::max_element(layout.packets.begin(), layout.packets.end());
  return longest == layout.packets.end() ? 0 : *longest;
}

/// Whether a table has become one that other rules hold for.
bool isAnother(const TableLayout& before, const TableLayout& now) {
  return before.kind != now.kind || before.hasSections != now.hasSections ||
         before.key.table_id != now.key.table_id || before.key.extension != now.key.extension;
}

}  // namespace

StandardsPace::StandardsPace() {
  ceiling.set(1, {});
  lastGroups.reserve(kPacketsAtOnce);
}

StandardsPace::~StandardsPace() { clear({}); }

void StandardsPace::setCeiling(unsigned int kbps, time_point now) {
  ceiling.set(kbps, now);
  refit(now);
}

void StandardsPace::setDatagrams(nanoseconds longestWait, unsigned int packets, time_point now) {
  wait = longestWait;
  packetsPerDatagram = packets;
  refit(now);
}

/// Nothing is kept for those that press then, so what is put on air leaves slot by slot.
void StandardsPace::fillUntil(time_point end) {
  ceiling.fillUntil(end);
  newWork = end + boost::chrono::seconds(1);
}

// --- Tables -----------------------------------------------------------------------------------------------------

void StandardsPace::put(PacedTable& table, muxed_stream& stream, time_point now) {
  TableLayout layout = stream.layoutOf(table);
  if (table.lane != nullptr && isAnother(table.layout, layout)) remove(table);
  conditions.now = now;
  if (layout.packets.empty() && layout.kind != TableLayout::Kind::kQueued) {
    remove(table);
    return;
  }
  if (table.lane == nullptr)
    add(table, stream, layout);
  else
    count(table, -1);
  Lane& lane = *table.lane;
  lane.reserve(longestSection(layout));
  const bool goesOn = layout.kind == TableLayout::Kind::kQueued && lane.holds(table);  // at the pace it has
  const time_point wantedBy = promptDeadline(layout, lane);
  table.put(std::move(layout), conditions, wantedBy);
  if (goesOn) table.isPrompt = false;
  count(table, +1);
  if (table.layout.kind == TableLayout::Kind::kFiller) return;
  lane.replan(table, conditions);
  place(lane);
  refit(now);
}

void StandardsPace::add(PacedTable& table, muxed_stream& stream, const TableLayout& layout) {
  const unsigned short pid = stream.packetPid();
  Lane& lane = laneOf(pid);
  lane.add(table);
  table.stream = &stream;
  table.group = layout.hasSections ? &groupOf(pid, layout.key) : nullptr;
  if (table.group != nullptr) ++table.group->users;
  if (layout.kind == TableLayout::Kind::kFiller) fillers.push_back(&table);
}

void StandardsPace::changePeriod(PacedTable& table, time_point now) {
  if (table.lane == nullptr) return;
  const TableLayout layout = table.stream->layoutOf(table);
  if (isAnother(table.layout, layout)) {
    put(table, *table.stream, now);
    return;
  }
  conditions.now = now;
  count(table, -1);
  table.layout.period = layout.period;
  count(table, +1);
  if (table.layout.kind == TableLayout::Kind::kFiller) return;
  table.lane->replan(table, conditions);
  place(*table.lane);
  refit(now);
}

void StandardsPace::remove(PacedTable& table) {
  if (table.lane == nullptr) return;
  Lane& lane = *table.lane;
  count(table, -1);
  fillers.erase(std::remove(fillers.begin(), fillers.end(), &table), fillers.end());
  if (table.group != nullptr) --table.group->users;
  lane.remove(table);
  place(lane);
  refit(conditions.now);
}

void StandardsPace::clear(time_point now) {
  waiting.clear();
  ready.clear();
  for (const auto& [pid, lane] : lanes) lane->clear();
  for (PacedTable* const table : fillers) table->lane->remove(*table);
  fillers.clear();
  groups.clear();
  overfull.clear();
  lastGroups.clear();
  rate = 0;
  begun = newWork = now;
  isFinishing = false;
  refit(now);
}

unsigned char StandardsPace::counterOf(unsigned short pid) const {
  const auto lane = lanes.find(pid);
  return lane == lanes.end() ? muxed_stream::kNoCC : lane->second->counter();
}

void StandardsPace::continueFrom(unsigned short pid, unsigned char cc) { laneOf(pid).continueFrom(cc); }

Lane& StandardsPace::laneOf(unsigned short pid) {
  auto& lane = lanes[pid];
  if (!lane) lane = std::make_unique<Lane>(pid);
  return *lane;
}

GapGroup& StandardsPace::groupOf(unsigned short pid, const psi::TableKey& key) {
  if (groups.size() >= groupsToDropAt) dropSpareGroups();
  return groups.try_emplace(groupKey(pid, key), GapGroup{begun}).first->second;
}

/// Groups without tables are needed until their distance is over.
void StandardsPace::dropSpareGroups() {
  lastGroups.clear();
  for (auto next = groups.begin(); next != groups.end();) {
    const GapGroup& group = next->second;
    const bool isSpare = group.users == 0 && group.end + standards::kGap < conditions.now;
    next = isSpare ? groups.erase(next) : std::next(next);
  }
  groupsToDropAt = std::max(kSpareGroups, 2 * groups.size());
}

/// Adds what a table asks for to the sums, or takes it away again.
void StandardsPace::count(PacedTable& table, int sign) {
  if (sign > 0) table.need = needOf(table.layout, table.interval);
  const std::uint64_t change = sign > 0 ? table.need : ~table.need + 1;  // modulo 2^64, so that sums stay exact
  table.lane->rate += change;
  if (table.layout.kind == TableLayout::Kind::kRepeated) rate += change;
  if (table.group == nullptr || table.layout.kind != TableLayout::Kind::kRepeated) return;
  table.group->load += sign * loadOf(table.layout);
  if (table.group->load > 1)
    overfull.insert(table.group);
  else
    overfull.erase(table.group);
}

/// When a table's first section is wanted. Where much is put on air at once each has to wait for those before it.
StandardsPace::time_point StandardsPace::promptDeadline(const TableLayout& layout, Lane& lane) {
  const auto packets = static_cast<nanoseconds::rep>(layout.packets.empty() ? 1 : layout.packets.front());
  const auto after = [&](time_point work, nanoseconds interval, double load) {
    const double left = std::clamp(standards::kEligible - load, kLeastForNewWork, kMostForNewWork);
    return std::max(work, conditions.now) +
           nanoseconds(static_cast<nanoseconds::rep>(static_cast<double>((packets * interval).count()) / left));
  };
  lane.newWork = after(lane.newWork, lane.packetInterval(), lane.load());
  newWork = after(newWork, ceiling.slot(), load());
  return std::max({conditions.now + standards::kPrompt, lane.newWork, newWork});
}

/// What all tables ask for, as a part of what there is.
double StandardsPace::load() const { return static_cast<double>(rate) / (ceiling.rate() * standards::kUsable); }

/// Looks anew by how much the periods are to be stretched.
void StandardsPace::refit(time_point now) {
  double most = load();
  for (const GapGroup* const group : overfull) most = std::max(most, group->load);
  conditions.stretch = std::max(1.0, most);
  conditions.slot = ceiling.slot();
  conditions.wait = load() > standards::kBusy ? nanoseconds::zero() : wait;
  if (std::abs(conditions.stretch / plannedStretch - 1) < kNoticed) return;
  plannedStretch = conditions.stretch;
  conditions.now = now;
  for (const auto& [pid, lane] : lanes) {
    lane->replanAll(conditions);
    place(*lane);
  }
}

double StandardsPace::required() const { return kbpsOf(rate); }

std::vector<TableNeed> StandardsPace::needs() const {
  std::vector<TableNeed> all;
  for (const auto& [pid, lane] : lanes)
    lane->eachTable([&all, pid = pid](const PacedTable& table) {
      if (table.layout.kind == TableLayout::Kind::kRepeated)
        all.push_back({pid, table.layout.key, table.layout.hasSections, table.layout.packets.size(),
                       table.layout.period, kbpsOf(table.need)});
    });
  return all;
}

// --- Datagrams --------------------------------------------------------------------------------------------------

bool StandardsPace::isUnderWay() const {
  return std::any_of(lanes.begin(), lanes.end(), [](const auto& lane) { return lane.second->isUnderWay(); });
}

/// How many packets a datagram may hold: the more of them, the longer others have to wait for its end.
std::size_t StandardsPace::room() const {
  const auto slots = standards::kLongestDatagram / std::max(ceiling.slot(), nanoseconds(1));
  return static_cast<std::size_t>(std::clamp<nanoseconds::rep>(slots, 1, packetsPerDatagram));
}

void StandardsPace::detach(Lane& lane) {
  if (lane.waitingHook.is_linked()) waiting.erase(waiting.iterator_to(lane));
  if (lane.readyHook.is_linked()) ready.erase(ready.iterator_to(lane));
}

void StandardsPace::place(Lane& lane) {
  detach(lane);
  lane.refresh();
  if (lane.isIdle() || (isFinishing && !lane.isUnderWay())) return;
  if (lane.mayAt <= conditions.now)
    ready.insert(lane);
  else
    waiting.insert(lane);
}

StandardsPace::time_point StandardsPace::nextDeparture() const {
  if (!fillers.empty() && !isFinishing) return std::min(ceiling.nextFor(room()), soonest(time_point::max()));
  return soonest(ceiling.next(nanoseconds::zero()));
}

/// When the next datagram is to leave of what is on air in its own right; one that is full at `slot`.
StandardsPace::time_point StandardsPace::soonest(time_point slot) const {
  const time_point slotOfPressing = ceiling.nextPressing();
  time_point mustGo = time_point::max();
  time_point pressing = time_point::max();
  std::size_t count = 0;
  const auto meet = [&](const Lane& lane) {
    mustGo = std::min(mustGo, lane.mustGo);
    pressing = std::min(pressing, lane.pressing + patience(lane));
    if (++count == room()) mustGo = std::min(mustGo, std::max(lane.mayAt, conditions.now));
  };
  const auto departure = [&] { return std::min(std::max(mustGo, slot), std::max(pressing, slotOfPressing)); };
  for (const Lane& lane : ready) meet(lane);
  for (const Lane& lane : waiting) {
    if (lane.mayAt >= departure()) break;
    meet(lane);
  }
  return mustGo == time_point::max() ? mustGo : departure();
}

/// Where all slots are filled up a datagram leaves soon anyway, and what presses can wait for it.
StandardsPace::nanoseconds StandardsPace::patience(const Lane& lane) const {
  if (fillers.empty()) return nanoseconds::zero();
  return std::max(nanoseconds::zero(), (lane.deadline - lane.pressing) / 2);
}

std::size_t StandardsPace::choose(time_point now, nanoseconds ahead, signed char* packets) {
  conditions.now = now;
  const nanoseconds span = ceiling.slot() * static_cast<nanoseconds::rep>(room());
  const nanoseconds reach = std::max(ahead, span - ceiling.slot());
  admit(now, now + span);
  std::size_t count = 0;
  while (count < room()) {
    Lane* const next = mostWanted(now, reach);
    if (next == nullptr) break;
    Lane& lane = *next;
    if (lane.take(now, now + span, conditions, packets + count * kPacketSize)) {
      ceiling.take(now);
      ++count;
      if (GapGroup* const group = lane.ended()) lastGroups.push_back(group);
    }
    place(lane);
  }
  return fillUp(now, reach, packets, count);
}

/// The ready lane with the earliest deadline that there is a slot for; null when there is none.
Lane* StandardsPace::mostWanted(time_point now, nanoseconds reach) {
  if (ready.empty()) return nullptr;
  if (ceiling.allows(now, reach)) return &*ready.begin();
  if (!ceiling.allowsPressing(now)) return nullptr;
  const auto isPressing = [now](const Lane& lane) { return lane.pressing <= now; };
  const auto found = std::find_if(ready.begin(), ready.end(), isPressing);
  return found == ready.end() ? nullptr : &*found;
}

/// Adds packets of the fillers, a section of each in turn.
std::size_t StandardsPace::fillUp(time_point now, nanoseconds reach, signed char* packets, std::size_t count) {
  if (fillers.empty() || isFinishing) return count;
  while (count < room() && ceiling.allows(now, reach)) {
    PacedTable& filler = *fillers.front();
    if (!filler.lane->fill(filler, now, packets + count * kPacketSize)) break;
    ceiling.take(now);
    ++count;
    if (!filler.lane->isUnderWay()) std::rotate(fillers.begin(), fillers.begin() + 1, fillers.end());
  }
  return count;
}

void StandardsPace::sentAt(time_point sent) {
  for (GapGroup* const group : lastGroups) group->end = std::max(group->end, sent);
  lastGroups.clear();
}

/// Makes the lanes ready that may go on, and those that would have to before `soon`.
void StandardsPace::admit(time_point now, time_point soon) {
  for (auto next = waiting.begin(); next != waiting.end() && next->mayAt <= soon;) {
    Lane& lane = *next++;
    if (lane.mayAt > now && (lane.mustGo > soon || lane.isUnderWay())) continue;
    waiting.erase(waiting.iterator_to(lane));
    ready.insert(lane);
  }
}

void StandardsPace::finish(bool only) {
  if (only == isFinishing) return;
  isFinishing = only;
  for (const auto& [pid, lane] : lanes) place(*lane);
}

}  // namespace vantor
