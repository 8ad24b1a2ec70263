#include "programs/servicemux/LiveView.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "programs/servicemux/text.h"

namespace vantor::cli {

namespace {

constexpr auto kRateWindow = std::chrono::seconds(2);  // several repetitions of the common tables
constexpr double kTolerance = 0.1;                     // of a measured period before it is pointed out
constexpr std::size_t kMostOnALine = 8;                // tables, but for those off their periods

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

Row rowOf(const TableOnAir& table, std::size_t width) {
  Row out;
  out.off = isOffPeriod(table);
  out.severity = table.period > 0 ? std::abs(table.measuredPeriod / table.period - 1) : 0;
  out.pid = table.pid;
  out.name = table.name;
  out.line = {out.off ? kYellow : kPlain,
              row(table.name, width, hexPid(table.pid), versionOf(table), std::to_string(table.period) + " ms",
                  measuredOf(table), grouped(table.packets), grouped(table.repetitions))};
  return out;
}

/// Those off their periods first.
std::vector<TableOnAir> worstFirst(std::vector<TableOnAir> tables) {
  std::stable_partition(tables.begin(), tables.end(), isOffPeriod);
  return tables;
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

std::vector<std::string> blockOf(const OutputState& state, ScreenSize screen, ListView& view) {
  const std::size_t width = nameWidth(state.tables);
  ListBlock block;
  block.head = headOf(state, width);
  for (const TableOnAir& table : state.tables) block.rows.push_back(rowOf(table, width));
  block.foot = {{kPlain, ""}, {kDim, "  " + view.keysText("Ctrl-C ends it")}};
  block.offWhat = "off their periods";
  return view.fit(std::move(block), screen);
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
  const std::vector<TableOnAir> tables = worstFirst(state.tables);
  const auto off = static_cast<std::size_t>(std::count_if(tables.begin(), tables.end(), isOffPeriod));
  const std::size_t shown = std::min(tables.size(), std::max(kMostOnALine, off));
  for (std::size_t i = 0; i < shown; ++i) {
    const TableOnAir& table = tables[i];
    out += "  " + table.name + "@" + hexPid(table.pid);
    if (table.version >= 0) out += " v" + std::to_string(table.version);
    out += " " + measuredOf(table) + "/" + std::to_string(table.period) + " ms";
  }
  if (shown < tables.size()) out += "  and " + grouped(tables.size() - shown) + " more";
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

}  // namespace vantor::cli
