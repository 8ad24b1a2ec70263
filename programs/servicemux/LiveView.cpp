#include "programs/servicemux/LiveView.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "programs/servicemux/text.h"

namespace vantor::cli {

namespace {

constexpr auto kRateWindow = std::chrono::seconds(2);  // several repetitions of the common tables
constexpr double kTolerance = 0.1;                     // of a measured period before it is pointed out
constexpr std::size_t kMostOnALine = 8;                // tables
constexpr std::size_t kUsualName = 27;                 // characters

// Select graphic rendition, ECMA-48 clause 8.3.117.
constexpr const char* kPlain = "";
constexpr const char* kBold = "\x1b[1m";
constexpr const char* kDim = "\x1b[2m";
constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kRed = "\x1b[1;31m";
constexpr const char* kReset = "\x1b[0m";

struct Line {
  const char* style;
  std::string text;
};

std::string decimal(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

std::string clock(std::chrono::milliseconds elapsed) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02d:%02d", static_cast<long long>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return text;
}

bool hasSeveral(const OutputState& state) { return state.destinations.size() > 1; }

/// The only destination, or what several have got together: what reached one of them was sent.
DestinationState wholeOf(const OutputState& state) {
  if (state.destinations.size() == 1) return state.destinations.front();
  DestinationState whole;
  whole.name = counted(state.destinations.size(), "destination");
  whole.kbps = state.kbps;
  whole.datagrams = state.statistics.datagrams;
  whole.bytes = state.statistics.bytesSent;
  whole.lost = state.statistics.sendErrors;
  return whole;
}

bool isFine(const DestinationState& destination) { return destination.lost == 0 && destination.trouble.empty(); }

/// "nothing lost", "2 datagrams not sent, 1 packet overrun: Network is unreachable"
std::string losses(const DestinationState& destination, std::uint64_t overrun) {
  std::string out;
  if (destination.lost != 0) out += counted(destination.lost, "datagram") + " not sent";
  if (overrun != 0) out += (out.empty() ? "" : ", ") + counted(overrun, "packet") + " overrun";
  if (out.empty()) out = "nothing lost";
  if (destination.refused != 0) out += ", " + grouped(destination.refused) + " came back refused";
  if (!destination.trouble.empty()) out += ": " + destination.trouble;
  return out;
}

std::string shareOf(const DestinationState& destination) {
  return destination.name + "  " + decimal(destination.kbps) + " kbit/s  " +
         counted(destination.datagrams, "datagram") + "  " + losses(destination, 0);
}

std::string versionOf(const TableOnAir& table) { return table.version < 0 ? "-" : std::to_string(table.version); }

std::string measuredOf(const TableOnAir& table) {
  return table.measuredPeriod > 0 ? decimal(table.measuredPeriod) + " ms" : "-";
}

bool isOffPeriod(const TableOnAir& table) {
  return table.period > 0 && table.measuredPeriod > 0 &&
         std::abs(table.measuredPeriod - table.period) > kTolerance * table.period;
}

/// Of the first column. Names that tell namesakes apart are longer than others.
std::size_t nameWidth(const std::vector<TableOnAir>& tables) {
  std::size_t longest = kUsualName;
  for (const TableOnAir& table : tables) longest = std::max(longest, table.name.size());
  return longest + 2;
}

std::string row(const std::string& table, std::size_t width, const std::string& pid, const std::string& version,
                const std::string& period, const std::string& measured, const std::string& packets,
                const std::string& sent) {
  return "  " + padRight(table, width) + padRight(pid, 6) + padLeft(version, 5) + padLeft(period, 9) +
         padLeft(measured, 11) + padLeft(packets, 8) + padLeft(sent, 8);
}

std::vector<Line> headOf(const OutputState& state, std::size_t width) {
  const MuxerStatistics& sent = state.statistics;
  const DestinationState whole = wholeOf(state);
  std::vector<Line> lines{
      {kBold, "  servicemux  to " + whole.name + "  on air " + clock(state.elapsed)},
      {kPlain, ""},
      {isFine(whole) && sent.packetsOverrun == 0 ? kGreen : kRed,
       "  " + decimal(whole.kbps) + " kbit/s of " + grouped(state.ceiling) + "   " +
           counted(sent.packets, "packet") + "   " + counted(whole.datagrams, "datagram") + "   " +
           losses(whole, sent.packetsOverrun)},
  };
  if (hasSeveral(state))
    for (const DestinationState& destination : state.destinations)
      lines.push_back({isFine(destination) ? kGreen : kRed, "  " + shareOf(destination)});
  if (const std::string stretch = stretchOf(sent, state.ceiling); !stretch.empty())
    lines.push_back({kYellow, "  " + stretch});
  lines.push_back({kPlain, ""});
  lines.push_back({kDim, row("TABLE", width, "PID", "VERS", "PERIOD", "MEASURED", "PACKETS", "SENT")});
  return lines;
}

/// What there is to say of the tables from `shown` on, which have no place of their own.
std::string remainderOf(const std::vector<TableOnAir>& tables, std::size_t shown) {
  const auto begin = tables.begin() + static_cast<std::ptrdiff_t>(shown);
  const auto off = std::count_if(begin, tables.end(), isOffPeriod);
  return "and " + grouped(tables.size() - shown) + " more" +
         (off > 0 ? ", " + grouped(static_cast<std::uint64_t>(off)) + " of them off their periods" : "");
}

Line rowOf(const TableOnAir& table, std::size_t width) {
  return {isOffPeriod(table) ? kYellow : kPlain,
          row(table.name, width, hexPid(table.pid), versionOf(table), std::to_string(table.period) + " ms",
              measuredOf(table), grouped(table.packets), grouped(table.repetitions))};
}

}  // namespace

std::string stretchOf(const MuxerStatistics& statistics, unsigned int ceiling) {
  if (statistics.stretch <= 1) return "";
  char factor[32];
  std::snprintf(factor, sizeof factor, "%.2f", statistics.stretch);
  return "needs " + grouped(static_cast<std::uint64_t>(std::llround(statistics.required))) + " of " +
         grouped(ceiling) + " kbit/s: all periods are " + factor + " times as long";
}

std::string StretchNotice::update(const MuxerStatistics& statistics, unsigned int ceiling) {
  std::string now = stretchOf(statistics, ceiling);
  if (now == said) return "";
  return said = std::move(now);
}

double RateMeter::update(Clock::time_point now, std::uint64_t bytes) {
  samples.push_back({now, bytes});
  while (samples.size() > 2 && samples[1].time <= now - kRateWindow) samples.pop_front();
  const std::chrono::duration<double, std::milli> time = now - samples.front().time;
  if (time.count() <= 0) return 0;
  return static_cast<double>(bytes - samples.front().bytes) * 8 / time.count();
}

std::vector<std::string> blockOf(const OutputState& state, ScreenSize screen) {
  const std::size_t width = nameWidth(state.tables);
  std::vector<Line> lines = headOf(state, width);
  const std::vector<Line> foot{{kPlain, ""}, {kDim, "  Ctrl-C ends it"}};
  // One row stays free below the block, for the cursor.
  const std::size_t fixed = lines.size() + foot.size() + 1;
  const std::size_t room = screen.rows > fixed ? screen.rows - fixed : 0;
  const std::size_t shown = state.tables.size() <= room ? state.tables.size() : std::max<std::size_t>(room, 1) - 1;
  for (std::size_t i = 0; i < shown; ++i) lines.push_back(rowOf(state.tables[i], width));
  if (shown < state.tables.size()) lines.push_back({kDim, "  " + remainderOf(state.tables, shown)});
  lines.insert(lines.end(), foot.begin(), foot.end());
  if (lines.size() >= screen.rows) lines.resize(std::max<std::size_t>(screen.rows, 2) - 1);
  std::vector<std::string> out;
  out.reserve(lines.size());
  for (const Line& line : lines) out.push_back(line.style + line.text.substr(0, screen.columns) + kReset);
  return out;
}

std::string lineOf(const OutputState& state) {
  const MuxerStatistics& sent = state.statistics;
  const DestinationState whole = wholeOf(state);
  std::string out = clock(state.elapsed) + "  " + decimal(whole.kbps) + " kbit/s  " +
                    counted(sent.packets, "packet") + "  " + counted(whole.datagrams, "datagram") + "  " +
                    losses(whole, sent.packetsOverrun);
  if (hasSeveral(state))
    for (const DestinationState& destination : state.destinations) out += "  to " + shareOf(destination);
  if (const std::string stretch = stretchOf(sent, state.ceiling); !stretch.empty()) out += "  " + stretch;
  const std::size_t shown = std::min(state.tables.size(), kMostOnALine);
  for (std::size_t i = 0; i < shown; ++i) {
    const TableOnAir& table = state.tables[i];
    out += "  " + table.name + "@" + hexPid(table.pid);
    if (table.version >= 0) out += " v" + std::to_string(table.version);
    out += " " + measuredOf(table) + "/" + std::to_string(table.period) + " ms";
  }
  if (shown < state.tables.size()) out += "  " + remainderOf(state.tables, shown);
  return out;
}

std::string summaryOf(const OutputState& state) {
  const DestinationState whole = wholeOf(state);
  std::string out = clock(state.elapsed) + " on air, " + counted(state.statistics.packets, "packet") + " in " +
                    counted(whole.datagrams, "datagram") + ", " + counted(whole.bytes, "byte") + ", " +
                    losses(whole, state.statistics.packetsOverrun);
  if (hasSeveral(state))
    for (const DestinationState& destination : state.destinations)
      out += "\n  " + destination.name + ": " + counted(destination.datagrams, "datagram") + ", " +
             counted(destination.bytes, "byte") + ", " + losses(destination, 0);
  return out;
}

std::string LiveBlock::draw(const std::vector<std::string>& lines, const std::string& log) {
  // Cursor up and erase below, ECMA-48 clauses 8.3.22 and 8.3.39; the cursor is hidden while the block lives.
  std::string out = "\x1b[?25l\r";
  if (height > 0) out += "\x1b[" + std::to_string(height) + "A";
  // The old block is overwritten line by line and not erased first, which would flicker; a log needs the room.
  if (!log.empty()) out += "\x1b[J" + log + (log.back() == '\n' ? "" : "\n");
  for (const auto& line : lines) out += line + "\x1b[K\n";
  out += "\x1b[J";
  height = lines.size();
  return out;
}

std::string LiveBlock::end() {
  height = 0;
  return "\x1b[?25h";
}

}  // namespace vantor::cli
