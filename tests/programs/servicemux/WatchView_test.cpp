#include "programs/servicemux/WatchView.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/servicemux/withoutStyles.h"

namespace vantor::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using testing::withoutStyles;

constexpr std::int64_t kMillisecond = 1000000;

monitor::TableReport makeTable(const std::string& name, unsigned pid, const psi::TableLimit& limit, int longest) {
  monitor::TableReport table;
  table.name = name;
  table.pid = static_cast<std::uint16_t>(pid);
  table.version = 3;
  table.sectionsSeen = 2;
  table.lastSection = 1;
  table.bytes = 1234;
  table.received = 40;
  table.intervals = 38;
  table.minimum = 100 * kMillisecond;
  table.mean = 200 * kMillisecond;
  table.maximum = longest * kMillisecond;
  table.judged = table.maximum;
  table.limit = limit;
  if (table.maximum > limit.maximum * kMillisecond) table.late = 1;
  table.shortestGap = 50 * kMillisecond;
  return table;
}

WatchState makeState() {
  WatchState state;
  state.input = "stream.ts";
  state.progress = 0.456;
  state.times = "by arrival times";
  state.report.elapsed = 3723 * 1000 * kMillisecond;
  state.report.packets = 1234567;
  state.report.kbps = 1024.26;
  state.report.tables = {makeTable("PAT", 0, psi::kPatLimit, 300),
                         makeTable("SDT actual", 0x11, psi::kSdtActualLimit, 2500),
                         makeTable("PMT 101", 0x100, psi::kPmtLimit, 1200)};
  monitor::PidReport pid;
  pid.pid = 0x11;
  pid.packets = 80;
  pid.kbps = 12.34;
  state.report.pids = {pid};
  return state;
}

std::vector<std::string> blockOf(const WatchState& state, ScreenSize screen) {
  ListView view(true);
  return cli::blockOf(state, screen, view);
}

TEST(WatchView, ShowsTablesAndPacketsTheWorstFirst) {
  const auto block = blockOf(makeState(), {132, 24});
  ASSERT_EQ(block.size(), 11U);
  EXPECT_EQ(withoutStyles(block[0]), "  servicemux  watches stream.ts  01:02:03  by arrival times  45 %");
  EXPECT_EQ(withoutStyles(block[2]), "  1024.3 kbit/s   1 234 567 packets   1 PID   3 tables   2 off their limits");
  EXPECT_EQ(withoutStyles(block[4]),
            "  TABLE, TIMES IN MS           PID    VERS     MEAN      MAX   LIMIT    GAP  ERR       MIN  SECTIONS"
            "    BYTES  RECEIVED");
  EXPECT_EQ(withoutStyles(block[5]),
            "  PMT 101                      0x0100    3    200.0   1200.0     500   50.0    0     100.0       2/2"
            "    1 234        40");
  EXPECT_THAT(block[5], StartsWith("\x1b[33m"));
  EXPECT_THAT(withoutStyles(block[6]), StartsWith("  SDT actual"));
  EXPECT_THAT(withoutStyles(block[7]), StartsWith("  PAT"));
  EXPECT_THAT(block[7], Not(StartsWith("\x1b[33m")));
  EXPECT_EQ(withoutStyles(block[8]),
            "  packets, 12.3 kbit/s         0x0011    -        -        -       -      -    0         -         -"
            "        -        80");
}

TEST(WatchView, HasLimitAndErrorsOnANarrowScreen) {
  for (const std::string& line : blockOf(makeState(), {80, 24})) EXPECT_LE(withoutStyles(line).size(), 80U);
  EXPECT_THAT(withoutStyles(blockOf(makeState(), {80, 24})[4]), HasSubstr("MEAN      MAX   LIMIT    GAP  ERR"));
}

TEST(WatchView, ErrorsOfAPidAreInItsRow) {
  WatchState state = makeState();
  state.report.pids[0].continuityErrors = 5;
  state.report.pids[0].crcErrors = 2;  // also those of known tables
  const auto block = blockOf(state, {80, 24});
  EXPECT_THAT(withoutStyles(block[6]), StartsWith("  packets, 12.3 kbit/s         0x0011"));
  EXPECT_THAT(withoutStyles(block[6]), HasSubstr("  7"));
  EXPECT_THAT(block[6], StartsWith("\x1b[1;31m"));
}

TEST(WatchView, WhatStaysAwayGetsLonger) {
  WatchState state = makeState();
  state.report.tables[0].silence = 77000 * kMillisecond;
  EXPECT_THAT(withoutStyles(blockOf(state, {80, 24})[7]), HasSubstr(" 77000.0     500"));
}

TEST(WatchView, ErrorsOfTheInputStandAtTheTop) {
  WatchState state = makeState();
  state.report.input.syncLosses = 2;
  EXPECT_EQ(withoutStyles(blockOf(state, {80, 24})[3]), "  input: 2 losses of sync");
}

TEST(WatchView, TellsOnOneLineEverythingThatIsOff) {
  EXPECT_EQ(
      lineOf(makeState()),
      "01:02:03  1024.3 kbit/s   1 234 567 packets   1 PID   3 tables   2 off their limits: PMT 101 on PID "
      "0x0100 1200.0 ms of 500 ms (TR 101 290) from one sending to the next, too long once; SDT actual on PID "
      "0x0011 2500.0 ms of 2000 ms (TS 101 211 clause 4.4) from one sending to the next, too long once");
  WatchState fine = makeState();
  fine.report.tables.resize(1);
  EXPECT_EQ(lineOf(fine), "01:02:03  1024.3 kbit/s   1 234 567 packets   1 PID   1 table   nothing off its limits");
}

TEST(WatchView, ReportsEveryRowAndEveryFault) {
  const auto lines = reportLines(makeState());
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_THAT(lines[1], StartsWith("  PMT 101"));
  EXPECT_THAT(lines[4], StartsWith("  packets, 12.3 kbit/s"));
  EXPECT_THAT(lines[6], StartsWith("  PMT 101 on PID 0x0100: 1200.0 ms of 500 ms"));
  EXPECT_THAT(lines[7], StartsWith("  SDT actual on PID 0x0011: "));
  EXPECT_EQ(lines[9],
            "01:02:03 watched by arrival times, 1024.3 kbit/s   1 234 567 packets   1 PID   3 tables   2 off their "
            "limits");
}

TEST(WatchView, NamesWhatTimesItGoesBy) {
  EXPECT_EQ(timesText(monitor::TimeSource::kPcr, 0x100), "by the PCRs of PID 0x0100");
  EXPECT_EQ(timesText(monitor::TimeSource::kArrivals, 0), "by arrival times");
  EXPECT_EQ(timesText(monitor::TimeSource::kBitrate, 0), "by the given bitrate");
  EXPECT_EQ(timesText(monitor::TimeSource::kNone, 0), "without times");
}

}  // namespace
}  // namespace vantor::cli
