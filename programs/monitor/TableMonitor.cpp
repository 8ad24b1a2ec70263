#include "programs/monitor/TableMonitor.h"

#include <algorithm>

#include "interface/psi/section.h"
#include "interface/psi/sectioning.h"
#include "interface/psi/tableTypes.h"

namespace vantor::monitor {

namespace {

constexpr std::int64_t kMillisecond = 1000000;  // ns

bool isSchedule(std::uint8_t table_id) {
  return psi::kEitScheduleActual.has(table_id) || psi::kEitScheduleOther.has(table_id);
}

}  // namespace

double TableReport::severity() const {
  double value = 0;
  if (limit) value = static_cast<double>(judged) / (limit->maximum * double{kMillisecond});
  if (shortGaps > 0) {
    // A gap of nothing is no more than some hundred times too short.
    const double gap = std::max(static_cast<double>(*shortestGap) / kMillisecond, 0.1);
    value = std::max(value, kSectionDistance / gap);
  }
  return value;
}

void TableMonitor::take(const tables::Section& section, std::optional<std::int64_t> end) {
  ++received;
  if (section.hasSyntax() && section.version() != version) beginVersion(section);
  const std::uint8_t number = section.hasSyntax() ? section.number() : 0;
  lastSection = section.hasSyntax() ? section.lastNumber() : 0;
  Part& part = parts[number];
  if (end && part.last) addInterval(number, *end - *part.last);
  // The first sending ends the wait for it, which counts where it took too long.
  if (end && part.since && shareOf(number, *end - *part.since).value > 1) addInterval(number, *end - *part.since);
  part.seen = true;
  part.bytes = section.bytes().size();
  part.last = end;
  part.since.reset();
  if (section.hasSyntax()) expectOthers(section, end);
}

/// The limits go on from version to version: a section is due a period after the one of the same number before it.
void TableMonitor::beginVersion(const tables::Section& section) {
  if (version >= 0) ++versionChanges;
  version = section.version();
  parts.erase(parts.upper_bound(section.lastNumber()), parts.end());
  for (auto& [number, part] : parts) part.seen = false;
}

/// A schedule has gaps in its numbers: of each segment of which there is a section it has those up to the segment's
/// last one.
void TableMonitor::expectOthers(const tables::Section& section, std::optional<std::int64_t> now) {
  unsigned int first = 0;
  unsigned int last = section.lastNumber();
  if (isSchedule(key.table_id)) {
    if (section.payload().size() < kEitHead) return;
    constexpr unsigned int kPerSegment = kSectionsPerSegment;
    first = section.number() / kPerSegment * kPerSegment;
    const unsigned int segmentLast = tables::byteAt(section.payload(), kEitSegmentLastOffset);
    last = std::min(segmentLast, first + kPerSegment - 1);
  }
  for (unsigned int number = first; number <= last; ++number) expect(static_cast<std::uint8_t>(number), now);
}

void TableMonitor::expect(std::uint8_t number, std::optional<std::int64_t> now) {
  if (!now || !psi::limitOf(key.table_id, number, network)) return;
  Part& part = parts[number];
  if (!part.last && !part.since) part.since = now;
}

void TableMonitor::takeGap(std::int64_t gap) {
  shortestGap = shortestGap ? std::min(*shortestGap, gap) : gap;
  if (gap < kSectionDistance * kMillisecond) ++shortGaps;
}

void TableMonitor::setListed(bool value, std::optional<std::int64_t> now) {
  if (value && !isListed)
    for (auto& [number, part] : parts) {
      part.last.reset();
      part.since = now;
    }
  isListed = value;
}

void TableMonitor::addInterval(std::uint8_t number, std::int64_t interval) {
  minimum = intervals == 0 ? interval : std::min(minimum, interval);
  maximum = std::max(maximum, interval);
  sum += interval;
  ++intervals;
  const Share share = shareOf(number, interval);
  if (share.value > 1) ++late;
  if (share.value > worst.value) worst = share;
}

TableMonitor::Share TableMonitor::shareOf(std::uint8_t number, std::int64_t interval) const {
  const auto limit = psi::limitOf(key.table_id, number, network);
  if (!limit) return {};
  return {static_cast<double>(interval) / (limit->maximum * double{kMillisecond}), limit, interval};
}

TableReport TableMonitor::report(std::optional<std::int64_t> now) const {
  TableReport out;
  out.key = key;
  out.pid = pid;
  out.version = version;
  out.versionChanges = versionChanges;
  out.lastSection = lastSection;
  out.received = received;
  out.intervals = intervals;
  out.minimum = minimum;
  out.mean = intervals == 0 ? 0 : sum / static_cast<std::int64_t>(intervals);
  out.maximum = maximum;
  out.late = late;
  out.isListed = isListed;
  out.shortestGap = shortestGap;
  out.shortGaps = shortGaps;
  out.crcErrors = crcErrors;
  Share reported = worst;
  double longestWait = 1;
  for (const auto& [number, part] : parts) {
    if (part.seen) {
      ++out.sectionsSeen;
      out.bytes += part.bytes;
    }
    const auto from = part.last ? part.last : part.since;
    const Share share = shareOf(number, isListed && now && from ? *now - *from : 0);
    if (share.value > 1) ++out.late;
    if (share.value > longestWait) {
      longestWait = share.value;
      out.silence = share.interval;
      out.neverCame = !part.last;
    }
    if (share.value > reported.value || !reported.limit) reported = share;
  }
  out.limit = reported.limit;
  out.judged = reported.interval;
  return out;
}

}  // namespace vantor::monitor
