#include "programs/monitor/faults.h"

#include <algorithm>
#include <cstdio>

#include "interface/psi/section.h"
#include "programs/tables/json/pidJson.h"

namespace vantor::monitor {

namespace {

/// Ranks what has no measure by how often it happened: before what is late by a little, behind what stays away.
double rankOf(std::uint64_t count) { return 2 + static_cast<double>(std::min<std::uint64_t>(count, 1000)) / 1000; }

std::string pidName(std::uint16_t pid) { return "PID " + tables::pidText(pid); }

std::string times(std::uint64_t count) { return count == 1 ? "once" : std::to_string(count) + " times"; }

std::string many(std::uint64_t count, const std::string& one, const std::string& several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string limitText(const psi::TableLimit& limit) {
  return std::to_string(limit.maximum) + " ms (" + limit.source + ")";
}

std::string latenessOf(const TableReport& table) {
  const std::string limit = limitText(*table.limit);
  if (table.silence == table.judged && table.silence > 0)
    return (table.neverCame ? "has not come for " : "came last ") + milliseconds(table.silence) +
           (table.neverCame ? "" : " ago") + ", of " + limit;
  return milliseconds(table.judged) + " of " + limit + " from one sending to the next, too long " +
         times(table.late);
}

void addCount(std::vector<Fault>& faults, const std::string& subject, std::uint64_t count, const std::string& one,
              const std::string& several) {
  if (count > 0) faults.push_back({subject, many(count, one, several), rankOf(count)});
}

std::vector<Fault> faultsOf(const InputErrors& input) {
  std::vector<Fault> faults;
  addCount(faults, kInput, input.syncLosses, "loss of sync", "losses of sync");
  if (input.syncLosses == 0) addCount(faults, kInput, input.skippedBytes, "byte skipped", "bytes skipped");
  addCount(faults, kInput, input.lostDatagrams, "RTP packet lost", "RTP packets lost");
  addCount(faults, kInput, input.dropped, "datagram lost here, which this machine was too slow for",
           "datagrams lost here, which this machine was too slow for");
  return faults;
}

}  // namespace

std::string milliseconds(std::int64_t nanoseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f ms", static_cast<double>(nanoseconds) / 1e6);
  return text;
}

std::vector<Fault> faultsOf(const TableReport& table) {
  std::vector<Fault> faults;
  const std::string subject = table.name + " on " + pidName(table.pid);
  if (table.late > 0) faults.push_back({subject, latenessOf(table), table.severity()});
  if (table.shortGaps > 0)
    faults.push_back({subject,
                      milliseconds(*table.shortestGap) + " of " + std::to_string(kSectionDistance) + " ms (" +
                          psi::kSectionDistanceSource + ") to the section before, too short " +
                          times(table.shortGaps),
                      table.severity()});
  addCount(faults, subject, table.crcErrors, "section with a wrong CRC", "sections with a wrong CRC");
  return faults;
}

std::vector<Fault> faultsOf(const PidReport& pid) {
  std::vector<Fault> faults;
  const std::string subject = pidName(pid.pid);
  addCount(faults, subject, pid.continuityErrors, "continuity error", "continuity errors");
  addCount(faults, subject, pid.transportErrors, "packet with transport_error_indicator",
           "packets with transport_error_indicator");
  addCount(faults, subject, pid.unknownCrcErrors, "section of an unknown table with a wrong CRC",
           "sections of unknown tables with a wrong CRC");
  addCount(faults, subject, pid.syntaxErrors, "section with a wrong length or head",
           "sections with a wrong length or head");
  addCount(faults, subject, pid.cutSections, "section cut short", "sections cut short");
  return faults;
}

std::vector<Fault> faultsOf(const Report& report) {
  std::vector<Fault> faults = faultsOf(report.input);
  if (report.packets == 0) faults.push_back({kInput, "no packet", rankOf(0)});
  const auto add = [&faults](std::vector<Fault> more) { faults.insert(faults.end(), more.begin(), more.end()); };
  for (const TableReport& table : report.tables) add(faultsOf(table));
  for (const PidReport& pid : report.pids) add(faultsOf(pid));
  std::stable_sort(faults.begin(), faults.end(),
                   [](const Fault& a, const Fault& b) { return a.severity > b.severity; });
  return faults;
}

}  // namespace vantor::monitor
