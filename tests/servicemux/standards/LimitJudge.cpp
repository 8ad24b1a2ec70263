#include "tests/servicemux/standards/LimitJudge.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <numeric>

#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/section.h"
#include "interface/psi/tableTypes.h"
#include "tests/servicemux/standards/simulatedTime.h"

namespace {

using vantor::kPacketSize;

constexpr std::int64_t kLeastGap = 25 * kMillisecond;
constexpr std::int64_t kLongestChange = 25 * kMillisecond;
constexpr std::int64_t kUtcWindow = 100 * kMillisecond;

// 1 Mbit/s in packets of 188 bytes.
constexpr std::int64_t kSpread = 2 * std::int64_t{1504000};  // ns over three of them
constexpr double kSpreadBelow = 1e9 / 1504000;               // a second

constexpr std::int64_t kSlotTimesKbps = 1504000000;  // ns of a packet at 1 kbit/s
constexpr std::int64_t kDatagramPackets = 7;
constexpr std::int64_t kLongestSection = 23;  // packets, of 4096 bytes

constexpr double kStretchAccuracy = 0.02;
constexpr std::int64_t kIntervalsForMean = 20;
constexpr std::int64_t kIntervalsForStretch = 100;

constexpr std::uint64_t kFaultsKept = 8;  // of each rule

constexpr std::int64_t kGpsEpoch = 315964800;  // 1980-01-06, s since 1970

bool isTime(std::uint8_t table_id) {
  return table_id == vantor::kTdtTableId || table_id == vantor::kTotTableId || table_id == vantor::kSttTableId;
}

/// In s since 1970.
std::int64_t carriedSecond(const unsigned char* section) {
  const auto number = [section](std::size_t offset, std::size_t size) {
    return std::accumulate(section + offset, section + offset + size, std::uint64_t{0},
                           [](std::uint64_t sum, unsigned char byte) { return sum << 8 | byte; });
  };
  if (section[0] != vantor::kSttTableId) return convertDVBTimeToTimestamp(number(vantor::kSectionHeaderSize, 5));
  constexpr std::size_t kSystemTime = vantor::kLongSectionHeaderSize + 1;  // behind protocol_version
  return static_cast<std::int64_t>(number(kSystemTime, 4)) + kGpsEpoch -
         static_cast<std::int64_t>(number(kSystemTime + 4, 1));
}

std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string text(const char* format, ...) {
  char made[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(made, sizeof made, format, arguments);
  va_end(arguments);
  return made;
}

double inMs(std::int64_t ns) { return static_cast<double>(ns) / kMillisecond; }

std::string nameOf(const LimitJudge::Key& key) {
  const std::string table =
      vantor::psi::tableName({key.table_id, key.extension, key.transport_stream_id, key.original_network_id});
  return text("PID 0x%04x %s", key.pid, table.c_str());
}

std::string nameOf(const LimitJudge::Key& key, std::size_t section) {
  return nameOf(key) + text(" section %zu", section);
}

}  // namespace

const char* LimitJudge::name(Rule rule) {
  constexpr std::array<const char*, kRules> kNames{"arrival", "gap",    "counter", "section",  "spread", "ceiling",
                                                   "change",  "on air", "utc",     "interval", "stretch"};
  return kNames.at(static_cast<std::size_t>(rule));
}

bool LimitJudge::Key::operator==(const Key& other) const {
  return pid == other.pid && table_id == other.table_id && extension == other.extension &&
         transport_stream_id == other.transport_stream_id && original_network_id == other.original_network_id;
}

std::size_t LimitJudge::KeyHash::operator()(const Key& key) const {
  const std::uint64_t stream = std::uint64_t{key.transport_stream_id} << 16 | key.original_network_id;
  const std::uint64_t table = std::uint64_t{key.pid} << 24 | std::uint64_t{key.table_id} << 16 | key.extension;
  return (table * 0x9E3779B97F4A7C15 ^ stream) * 0xC2B2AE3D27D4EB4F >> 20;
}

// --- What the output is told ------------------------------------------------------------------------------------

void LimitJudge::setCeiling(std::int64_t now, unsigned int kbps) {
  pass(now);
  ceiling.setCeiling(now, kbps);
}

void LimitJudge::put(std::int64_t now, const Table& table) {
  pass(now);
  OnAir& entry = tableOf(table.key);
  const bool isNew = !entry.isOnAir;
  const bool isReplaced = !isNew && entry.table.version != table.version;
  if (!isNew) ask(entry, -1);
  if (!isNew && (!isReplaced || entry.table.period != table.period)) judgeIntervals(now, entry);
  const std::size_t known = isNew ? 0 : std::min<std::size_t>(entry.sections.size(), table.sections);
  entry.table = table;
  entry.isOnAir = true;
  entry.sections.resize(table.sections);
  ask(entry, 1);
  if (isNew || isReplaced) change(now, entry);
  startAnew(now, entry, known, isTime(table.key.table_id) ? kSecond : kLongestChange + grace(packetsOfChanges()));
  reschedule(now, entry, known);
}

void LimitJudge::remove(std::int64_t now, const Key& key) {
  pass(now);
  OnAir& entry = tableOf(key);
  if (!entry.isOnAir) return;
  judgeIntervals(now, entry);
  ask(entry, -1);
  entry.isOnAir = false;
  entry.sections.clear();
  changes.erase(std::remove_if(changes.begin(), changes.end(), [&](const Change& c) { return c.table == &entry; }),
                changes.end());
}

void LimitJudge::setStretch(std::int64_t now, double factor) {
  pass(now);
  for (const auto& [key, entry] : tables)
    if (entry->isOnAir) judgeIntervals(now, *entry);
  stretch = factor;
  for (const auto& [key, entry] : tables)
    if (entry->isOnAir) reschedule(now, *entry, entry->sections.size());
}

void LimitJudge::watch(std::int64_t now, bool all) {
  pass(now);
  for (const auto& [key, entry] : tables)
    if (entry->isOnAir && watching) judgeIntervals(now, *entry);
  watching = all;
  changes.clear();
  ceiling.forget();
  for (auto& [key, end] : ends) end = kNever;
  for (Pid& pid : pids) {
    pid.assembly.restart();
    pid.before = pid.last = {};
    pid.underWay = nullptr;
  }
  for (const auto& [key, entry] : tables)
    if (entry->isOnAir) startAnew(now, *entry, 0, kLongestChange);
}

void LimitJudge::moveUtc(std::int64_t now) {
  pass(now);
  for (const auto& [key, entry] : tables)
    if (entry->isOnAir && isTime(key.table_id)) startAnew(now, *entry, 0, kSecond);
}

void LimitJudge::finish(std::int64_t now) {
  pass(now);
  for (const auto& [key, entry] : tables)
    if (entry->isOnAir) judgeIntervals(now, *entry);
}

LimitJudge::OnAir& LimitJudge::tableOf(const Key& key) {
  std::unique_ptr<OnAir>& entry = tables[key];
  if (!entry) {
    entry = std::make_unique<OnAir>();
    entry->table.key = key;
    entry->end = &ends.try_emplace({key.pid, key.table_id, key.extension, 0, 0}, kNever).first->second;
  }
  return *entry;
}

/// Enters what a table asks of its PID, or takes it out again.
void LimitJudge::ask(const OnAir& table, double sign) {
  pids[table.table.key.pid].packetsPerSecond +=
      sign * table.table.packets * static_cast<double>(kSecond) / static_cast<double>(table.table.period);
}

/// It has to begin soon, unless it waits for its UTC second.
void LimitJudge::change(std::int64_t now, OnAir& table) {
  changes.erase(std::remove_if(changes.begin(), changes.end(), [&](const Change& c) { return c.table == &table; }),
                changes.end());
  if (!watching || isTime(table.table.key.table_id)) return;
  changes.push_back({&table, now, 0, pids[table.table.key.pid].assembly.isUnderWay()});
  for (Change& pending : changes) pending.packets = packetsOfChanges();
}

/// A datagram is on its way when something is put on air, and all that is put on air at once has to leave below the
/// ceiling.
std::int64_t LimitJudge::packetsOfChanges() const {
  return std::accumulate(changes.begin(), changes.end(), kDatagramPackets,
                         [](std::int64_t sum, const Change& c) { return sum + c.table->table.packets; });
}

std::int64_t LimitJudge::grace(std::int64_t packets) const {
  return allowances.change + allowances.changeSlots * packets * slot();
}

// --- Deadlines --------------------------------------------------------------------------------------------------

std::int64_t LimitJudge::period(const Table& table) const {
  return static_cast<std::int64_t>(stretch * static_cast<double>(table.period));
}

std::int64_t LimitJudge::lateness(const Table& table) const {
  if (isTime(table.key.table_id)) return allowances.timeLateness;
  return stretch == 1 ? 0 : 2 * period(table) + kLongestSection * slot();
}

std::int64_t LimitJudge::slot() const {
  const unsigned int kbps = ceiling.ceiling();
  return kbps == 0 ? 0 : kSlotTimesKbps / kbps;
}

void LimitJudge::schedule(OnAir& table, std::size_t section, std::int64_t deadline) {
  Section& scheduled = table.sections[section];
  scheduled.deadline = deadline;
  if (scheduled.queued != kNever && scheduled.queued <= deadline) return;
  scheduled.queued = deadline;
  due.push({deadline, &table, section});
}

/// As if its sections from one on had just arrived, with a little more time for the next arrival.
void LimitJudge::startAnew(std::int64_t now, OnAir& table, std::size_t fromSection, std::int64_t grace) {
  for (std::size_t i = 0; i < table.sections.size(); ++i) {
    Section& section = table.sections[i];
    section.counting = false;
    if (i < fromSection) continue;
    section.last = now;
    schedule(table, i, now + grace + period(table.table) + lateness(table.table));
  }
}

/// Its sections up to one, to the period that is now in force: a longer one holds at once, a shorter one from now
/// on.
void LimitJudge::reschedule(std::int64_t now, OnAir& table, std::size_t toSection) {
  const std::int64_t longest = period(table.table) + lateness(table.table);
  for (std::size_t i = 0; i < toSection; ++i) {
    const Section& section = table.sections[i];
    schedule(table, i, std::max(section.last + longest, std::min(section.deadline, now + longest)));
  }
}

void LimitJudge::pass(std::int64_t now) {
  if (!watching) return;
  judgeDeadlines(now);
  judgeChanges(now);
}

/// A section that stays away is named once a period.
void LimitJudge::judgeDeadlines(std::int64_t now) {
  while (!due.empty() && due.top().deadline < now) {
    const Due entry = due.top();
    due.pop();
    OnAir& table = *entry.table;
    if (!table.isOnAir || entry.section >= table.sections.size()) continue;
    Section& section = table.sections[entry.section];
    if (section.queued != entry.deadline) continue;
    section.queued = kNever;
    std::int64_t next = section.deadline;
    if (next < now) {
      fault(Rule::kArrival, now,
            text("%s is late: it came %.3f ms ago, of %.3f ms", nameOf(table.table.key, entry.section).c_str(),
                 inMs(now - section.last), inMs(period(table.table))));
      next = now + period(table.table);
    }
    schedule(table, entry.section, next);
  }
}

void LimitJudge::judgeChanges(std::int64_t now) {
  const auto isLate = [&](const Change& c) {
    return !c.waits && now > c.since + kLongestChange + grace(c.packets);
  };
  const auto late =
      std::stable_partition(changes.begin(), changes.end(), [&](const Change& c) { return !isLate(c); });
  for (auto change = late; change != changes.end(); ++change)
    fault(Rule::kChange, now,
          text("%s version %d has not begun %.3f ms after it could, %.3f ms beyond 25 are granted",
               nameOf(change->table->table.key).c_str(), change->table->table.version, inMs(now - change->since),
               inMs(grace(change->packets))));
  changes.erase(late, changes.end());
}

// --- What the output does ---------------------------------------------------------------------------------------

void LimitJudge::take(std::int64_t now, std::int64_t utc, const void* datagram, std::size_t size) {
  pass(now);
  if (watching) {
    const std::int64_t tooMany = ceiling.add(now, size) - static_cast<std::int64_t>(8 * allowances.ceilingBytes);
    if (tooMany > 0)
      fault(
          Rule::kCeiling, now,
          text("%lld bits too many in a second of %u kbit/s", static_cast<long long>(tooMany), ceiling.ceiling()));
  }
  const auto* packet = static_cast<const unsigned char*>(datagram);
  const std::int64_t apart = allowances.slotTime ? slot() : 0;
  for (std::size_t i = 0; i < size / kPacketSize; ++i)
    takePacket(now, static_cast<std::int64_t>(i) * apart, utc, packet + i * kPacketSize);
}

void LimitJudge::takePacket(std::int64_t now, std::int64_t offset, std::int64_t utc, const unsigned char* packet) {
  ++packetCount;
  const auto pid = static_cast<std::uint16_t>((packet[1] & 0x1F) << 8 | packet[2]);
  if (pid == vantor::kNullPid) return;
  judgeCounter(now, pid, packet);
  if (!watching) return;
  judgeSpread(now, offset, pid);
  const SectionAssembly::Outcome outcome = pids[pid].assembly.take(packet);
  if (outcome.fault != nullptr) fault(Rule::kSection, now, text("PID 0x%04x: %s", pid, outcome.fault));
  if (outcome.begun == nullptr && outcome.ended == nullptr) return;
  if (sentOnce.count(pid) != 0) return;
  if (outcome.begun != nullptr) begin(now, utc, pid, *outcome.begun, packet);
  if (outcome.ended != nullptr) end(now, pid, pids[pid].assembly.lastHead());
}

void LimitJudge::judgeCounter(std::int64_t now, std::uint16_t pid, const unsigned char* packet) {
  const int counter = packet[vantor::kContinuityOffset] & vantor::kContinuityMask;
  const int before = pids[pid].counter;
  pids[pid].counter = counter;
  if (before >= 0 && counter != (before + 1) % 16)
    fault(Rule::kCounter, now, text("PID 0x%04x: %d behind %d", pid, counter, before));
}

/// Packets of two datagrams are as far apart as these, or as their slots where that is more.
void LimitJudge::judgeSpread(std::int64_t now, std::int64_t offset, std::uint16_t pid) {
  Pid& sent = pids[pid];
  const std::int64_t span = now - sent.before.datagram + offset - sent.before.offset;
  const std::int64_t atLeast = now - sent.before.datagram;
  sent.before = sent.last;
  sent.last = {now, offset};
  if (std::max(span, atLeast) < kSpread && sent.packetsPerSecond < kSpreadBelow && sentOnce.count(pid) == 0)
    fault(Rule::kSpread, now, text("PID 0x%04x: three packets within %.3f ms", pid, inMs(span)));
}

void LimitJudge::begin(std::int64_t now, std::int64_t utc, std::uint16_t pid, const SectionHead& head,
                       const unsigned char* packet) {
  const Key key{pid, head.table_id, head.extension, head.transport_stream_id, head.original_network_id};
  const auto found = tables.find(key);
  pids[pid].underWay = found == tables.end() ? nullptr : found->second.get();
  if (found == tables.end()) return fault(Rule::kOnAir, now, nameOf(key) + " was never put on air");
  OnAir& table = *found->second;
  judgeOnAir(now, table, head);
  judgeGap(now, key, *table.end);
  settleChange(table, head);
  if (isTime(head.table_id)) judgeUtc(now, utc, head.table_id, packet + vantor::kPacketHeaderSize + 1);
}

void LimitJudge::judgeOnAir(std::int64_t now, OnAir& table, const SectionHead& head) {
  if (!table.isOnAir)
    fault(Rule::kOnAir, now, nameOf(table.table.key, head.number) + " is not on air any more");
  else if (head.version != table.table.version)
    fault(Rule::kOnAir, now,
          text("%s has version %d and not %d", nameOf(table.table.key, head.number).c_str(), head.version,
               table.table.version));
  else if (head.number >= table.table.sections)
    fault(Rule::kOnAir, now,
          text("%s of a table of %u", nameOf(table.table.key, head.number).c_str(), table.table.sections));
}

void LimitJudge::judgeGap(std::int64_t now, const Key& key, std::int64_t end) {
  if (now - end < kLeastGap)
    fault(Rule::kGap, now, text("%s begins %.3f ms behind the last section", nameOf(key).c_str(), inMs(now - end)));
}

/// It has begun; others that were put on the PID wait for it.
void LimitJudge::settleChange(const OnAir& table, const SectionHead& head) {
  if (changes.empty() || head.version != table.table.version) return;
  const auto settled =
      std::find_if(changes.begin(), changes.end(), [&](const Change& c) { return c.table == &table; });
  if (settled == changes.end()) return;
  changes.erase(settled);
  for (Change& other : changes)
    if (other.table->table.key.pid == table.table.key.pid) other.waits = true;
}

void LimitJudge::freeChanges(std::int64_t now, std::uint16_t pid) {
  for (Change& waiting : changes) {
    if (waiting.table->table.key.pid != pid || !waiting.waits) continue;
    waiting.waits = false;
    waiting.since = now;
  }
}

void LimitJudge::judgeUtc(std::int64_t now, std::int64_t utc, std::uint8_t table_id, const unsigned char* section) {
  const std::int64_t behind = utc - carriedSecond(section) * kSecond;
  if (behind < 0 || behind > kUtcWindow)
    fault(Rule::kUtc, now,
          text("%s leaves %.3f ms behind the second that it carries", vantor::psi::tableTypeName(table_id).c_str(),
               inMs(behind)));
}

void LimitJudge::end(std::int64_t now, std::uint16_t pid, const SectionHead& head) {
  freeChanges(now, pid);
  OnAir* const table = pids[pid].underWay;
  if (table == nullptr) return;
  *table->end = now;
  if (!table->isOnAir || head.number >= table->sections.size()) return;
  Section& section = table->sections[head.number];
  if (section.counting) {
    ++section.intervals;
    section.sum += now - section.last;
  }
  section.counting = true;
  section.last = now;
  schedule(*table, head.number, now + period(table->table) + lateness(table->table));
}

/// Ends the counting of a table's intervals, and begins it anew.
void LimitJudge::judgeIntervals(std::int64_t now, OnAir& table) {
  for (std::size_t i = 0; i < table.sections.size(); ++i) {
    Section& section = table.sections[i];
    judgeMean(now, table.table, i, section);
    section.intervals = section.sum = 0;
    section.counting = false;
  }
}

void LimitJudge::judgeMean(std::int64_t now, const Table& table, std::size_t number, const Section& section) {
  if (section.intervals < kIntervalsForMean) return;
  const auto wanted = static_cast<double>(period(table));
  const double part = static_cast<double>(section.sum) / (static_cast<double>(section.intervals) * wanted);
  const bool isExact = stretch > 1 && section.intervals >= kIntervalsForStretch;
  const std::string what =
      text("%s comes every %.4f of its %.3f ms", nameOf(table.key, number).c_str(), part, wanted / kMillisecond);
  if (part < allowances.shortestMean) fault(Rule::kInterval, now, what);
  if (isExact && std::abs(part - 1) > kStretchAccuracy) fault(Rule::kStretch, now, what);
}

// --- What it found ----------------------------------------------------------------------------------------------

void LimitJudge::fault(Rule rule, std::int64_t now, const std::string& what) {
  if (++counts[static_cast<std::size_t>(rule)] <= kFaultsKept) found.push_back({rule, now, what});
}

std::uint64_t LimitJudge::count() const { return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0}); }

std::string LimitJudge::report() const {
  std::string lines = text("%llu packets\n", static_cast<unsigned long long>(packetCount));
  for (std::size_t rule = 0; rule < kRules; ++rule)
    if (counts[rule] != 0)
      lines +=
          text("%s: %llu times\n", name(static_cast<Rule>(rule)), static_cast<unsigned long long>(counts[rule]));
  for (const Fault& fault : found)
    lines +=
        text("  at %.6f s, %s: ", static_cast<double>(fault.time) / kSecond, name(fault.rule)) + fault.what + '\n';
  return lines;
}
