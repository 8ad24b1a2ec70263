#include "programs/servicemux/WatchView.h"

#include <algorithm>
#include <chrono>

#include "programs/monitor/faults.h"
#include "programs/servicemux/text.h"

namespace vantor::cli {

using monitor::Fault;
using monitor::PidReport;
using monitor::Report;
using monitor::TableReport;
using monitor::TimeSource;

namespace {

constexpr const char* kNothing = "-";

std::string elapsedText(const Report& report) {
  return clock(std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::nanoseconds(report.elapsed)));
}

std::string millisecondsText(std::int64_t nanoseconds) { return decimal(static_cast<double>(nanoseconds) / 1e6); }

std::string brokenText(std::size_t faults) {
  return faults == 0 ? "nothing off its limits" : grouped(faults) + " off their limits";
}

std::string ratesText(const Report& report) {
  return decimal(report.kbps) + " kbit/s   " + counted(report.packets, "packet") + "   " +
         counted(report.pids.size(), "PID") + "   " + counted(report.tables.size(), "table");
}

/// The columns of a row, the more important ones first: a narrow screen shows those.
struct Columns {
  std::string name;
  std::string pid;
  std::string version = kNothing;
  std::string mean = kNothing;
  std::string maximum = kNothing;
  std::string limit = kNothing;
  std::string gap = kNothing;
  std::string errors;
  std::string minimum = kNothing;
  std::string sections = kNothing;
  std::string bytes = kNothing;
  std::string received;
};

std::string textOf(const Columns& columns, std::size_t width) {
  return "  " + padRight(columns.name, width) + padRight(columns.pid, 6) + padLeft(columns.version, 5) +
         padLeft(columns.mean, 9) + padLeft(columns.maximum, 9) + padLeft(columns.limit, 8) +
         padLeft(columns.gap, 7) + padLeft(columns.errors, 5) + padLeft(columns.minimum, 10) +
         padLeft(columns.sections, 10) + padLeft(columns.bytes, 9) + padLeft(columns.received, 10);
}

std::string titles(std::size_t width) {
  return textOf({"TABLE, TIMES IN MS", "PID", "VERS", "MEAN", "MAX", "LIMIT", "GAP", "ERR", "MIN", "SECTIONS",
                 "BYTES", "RECEIVED"},
                width);
}

Columns columnsOf(const TableReport& table) {
  Columns columns;
  columns.name = table.name;
  columns.pid = hexPid(table.pid);
  if (table.version >= 0) columns.version = std::to_string(table.version);
  if (table.intervals > 0) {
    columns.minimum = millisecondsText(table.minimum);
    columns.mean = millisecondsText(table.mean);
  }
  // What stays away is getting longer.
  if (table.intervals > 0 || table.silence > 0)
    columns.maximum = millisecondsText(std::max(table.maximum, table.silence));
  if (table.limit) columns.limit = std::to_string(table.limit->maximum);
  if (table.shortestGap) columns.gap = millisecondsText(*table.shortestGap);
  columns.errors = grouped(table.crcErrors);
  columns.sections = std::to_string(table.sectionsSeen) + "/" + std::to_string(table.lastSection + 1);
  columns.bytes = grouped(table.bytes);
  columns.received = grouped(table.received);
  return columns;
}

std::uint64_t errorsOf(const PidReport& pid) {
  return pid.continuityErrors + pid.transportErrors + pid.crcErrors + pid.syntaxErrors + pid.cutSections;
}

Columns columnsOf(const PidReport& pid) {
  Columns columns;
  columns.name = "packets, " + decimal(pid.kbps) + " kbit/s";
  columns.pid = hexPid(pid.pid);
  columns.errors = grouped(errorsOf(pid));
  columns.received = grouped(pid.packets);
  return columns;
}

template <typename Part>
Row rowOf(const Part& part, const std::string& name, const char* offStyle, std::size_t width) {
  Row row;
  const std::vector<Fault> faults = monitor::faultsOf(part);
  for (const Fault& fault : faults) row.severity = std::max(row.severity, fault.severity);
  row.off = !faults.empty();
  row.pid = part.pid;
  row.name = name;
  row.line = {row.off ? offStyle : kPlain, textOf(columnsOf(part), width)};
  return row;
}

std::vector<Row> rowsOf(const Report& report, std::size_t width) {
  std::vector<Row> rows;
  for (const TableReport& table : report.tables)
    rows.push_back(rowOf(table, table.name, table.crcErrors > 0 ? kRed : kYellow, width));
  for (const PidReport& pid : report.pids) rows.push_back(rowOf(pid, "packets", kRed, width));
  return rows;
}

/// Of the first column.
std::size_t nameWidth(const Report& report) {
  std::size_t longest = kUsualName;
  for (const TableReport& table : report.tables) longest = std::max(longest, table.name.size());
  return longest + 2;
}

std::vector<Line> headOf(const WatchState& state, const std::vector<Fault>& faults, std::size_t width) {
  const Report& report = state.report;
  std::string title = "  servicemux  watches " + state.input + "  " + elapsedText(report) + "  " + state.times;
  if (state.progress) title += "  " + std::to_string(static_cast<int>(*state.progress * 100)) + " %";
  std::vector<Line> lines{
      {kBold, title},
      {kPlain, ""},
      {faults.empty() ? kGreen : kRed, "  " + ratesText(report) + "   " + brokenText(faults.size())}};
  // What came beside packets has no row.
  for (const Fault& fault : faults)
    if (fault.subject == monitor::kInput) lines.push_back({kRed, "  " + fault.subject + ": " + fault.what});
  lines.push_back({kPlain, ""});
  lines.push_back({kDim, titles(width)});
  return lines;
}

}  // namespace

std::string timesText(TimeSource source, std::uint16_t pcrPid) {
  switch (source) {
    case TimeSource::kArrivals:
      return "by arrival times";
    case TimeSource::kPcr:
      return "by the PCRs of PID " + hexPid(pcrPid);
    case TimeSource::kBitrate:
      return "by the given bitrate";
    case TimeSource::kNone:
      break;
  }
  return "without times";
}

std::vector<std::string> blockOf(const WatchState& state, ScreenSize screen, ListView& view) {
  const std::size_t width = nameWidth(state.report);
  ListBlock block;
  block.head = headOf(state, monitor::faultsOf(state.report), width);
  block.rows = rowsOf(state.report, width);
  block.foot = {{kPlain, ""}, {kDim, "  " + view.keysText(view.hasKeys() ? "q: end" : "Ctrl-C ends it")}};
  return view.fit(std::move(block), screen);
}

std::string lineOf(const WatchState& state) {
  const std::vector<Fault> faults = monitor::faultsOf(state.report);
  std::string out = elapsedText(state.report) + "  " + ratesText(state.report) + "   " + brokenText(faults.size());
  const char* separator = ": ";
  for (const Fault& fault : faults) {
    out += separator + fault.subject + " " + fault.what;
    separator = "; ";
  }
  return out;
}

std::vector<std::string> reportLines(const WatchState& state) {
  const std::size_t width = nameWidth(state.report);
  const std::vector<Fault> faults = monitor::faultsOf(state.report);
  std::vector<Row> rows = rowsOf(state.report, width);
  ListView().sort(rows);
  std::vector<std::string> lines{titles(width)};
  for (const Row& row : rows) lines.push_back(row.line.text);
  lines.emplace_back();
  for (const Fault& fault : faults) lines.push_back("  " + fault.subject + ": " + fault.what);
  if (!faults.empty()) lines.emplace_back();
  lines.push_back(elapsedText(state.report) + " watched " + state.times + ", " + ratesText(state.report) + "   " +
                  brokenText(faults.size()));
  return lines;
}

}  // namespace vantor::cli
