#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/servicemux/LiveView.h"
#include "tests/programs/servicemux/withoutStyles.h"

namespace vantor::cli {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using testing::withoutStyles;

/// A table that has begun `count` times, every `measured` ms.
TableOnAir makeTable(const char* name, unsigned short pid, unsigned int period, unsigned int measured,
                     unsigned int count) {
  StreamedTable sent;
  sent.period = period;
  sent.facts.packets = 1;
  for (unsigned int i = 0; i < count; ++i)
    sent.repetition.begin(Repetition::time_point(boost::chrono::milliseconds(1000 + i * measured)));
  TableOnAir table(name, pid, sent);
  table.version = 3;
  return table;
}

OutputState makeState(int tables) {
  OutputState state;
  state.destinations = {{"239.1.1.1:5004", 12.34, 1, 188, 0, 0, ""}};
  state.elapsed = 3723s;
  state.kbps = 12.34;
  state.ceiling = 1024;
  state.statistics.packets = 1234567;
  state.statistics.datagrams = 1;
  state.statistics.bytesSent = 188;
  for (int i = 0; i < tables; ++i) state.tables.push_back(makeTable("PAT", 0, 200, 200, 3));
  return state;
}

/// As it is on a screen at first.
std::vector<std::string> blockOf(const OutputState& state, ScreenSize screen) {
  ListView view;
  return cli::blockOf(state, screen, view);
}

TEST(LiveView, ShowsOneLineWhereThereIsNoTerminal) {
  OutputState state = makeState(1);
  EXPECT_EQ(lineOf(state),
            "01:02:03  12.3 kbit/s  1 234 567 packets  1 datagram  nothing lost  PAT@0x0000 v3 200.0 ms/200 ms");
  state.tables[0].version = -1;
  state.tables[0].measuredPeriod = 0;
  EXPECT_THAT(lineOf(state), HasSubstr("PAT@0x0000 -/200 ms"));
}

TEST(LiveView, TellsLosses) {
  OutputState state = makeState(0);
  state.destinations[0].lost = 2;
  EXPECT_THAT(lineOf(state), HasSubstr("2 datagrams not sent"));
  state.statistics.packetsOverrun = 1;
  EXPECT_EQ(summaryOf(state),
            "01:02:03 on air, 1 234 567 packets in 1 datagram, 188 bytes, 2 datagrams not sent, 1 packet overrun");
}

TEST(LiveView, SaysWhyTheDestinationFails) {
  OutputState state = makeState(1);
  state.destinations[0].lost = 2;
  state.destinations[0].trouble = "Network is unreachable";
  EXPECT_THAT(lineOf(state), HasSubstr("  1 datagram  2 datagrams not sent: Network is unreachable  PAT@"));
  const auto block = blockOf(state, {120, 24});
  ASSERT_EQ(block.size(), 8U);
  EXPECT_THAT(block[2], StartsWith("\x1b[1;31m"));
  EXPECT_EQ(
      withoutStyles(block[2]),
      "  12.3 kbit/s of 1 024   1 234 567 packets   1 datagram   2 datagrams not sent: Network is unreachable");
}

TEST(LiveView, TellsThatNobodyListensAndCallsItNoLoss) {
  OutputState state = makeState(0);
  state.destinations[0].refused = 1234;
  EXPECT_THAT(lineOf(state), HasSubstr("  nothing lost, 1 234 came back refused"));
  EXPECT_THAT(blockOf(state, {120, 24})[2], StartsWith("\x1b[32m"));
}

/// Three destinations: one that works, one that fails and one that has failed.
OutputState makeSeveral() {
  OutputState state = makeState(1);
  state.statistics.datagrams = 30;
  state.statistics.bytesSent = 5640;
  state.destinations = {{"239.1.1.1:5004", 12.34, 30, 5640, 0, 0, ""},
                        {"rtp://[ff05::1]:5004", 0, 1, 188, 29, 0, "No such device"},
                        {"file:a.ts", 6.17, 15, 2820, 15, 0, ""}};
  return state;
}

TEST(LiveView, ShowsEachOfSeveralDestinations) {
  const auto block = blockOf(makeSeveral(), {120, 24});
  ASSERT_EQ(block.size(), 11U);
  EXPECT_EQ(withoutStyles(block[0]), "  servicemux  to 3 destinations  on air 01:02:03");
  EXPECT_EQ(withoutStyles(block[2]), "  12.3 kbit/s of 1 024   1 234 567 packets   30 datagrams   nothing lost");
  EXPECT_EQ(block[3], "\x1b[32m  239.1.1.1:5004  12.3 kbit/s  30 datagrams  nothing lost\x1b[0m");
  EXPECT_EQ(
      block[4],
      "\x1b[1;31m  rtp://[ff05::1]:5004  0.0 kbit/s  1 datagram  29 datagrams not sent: No such device\x1b[0m");
  EXPECT_EQ(block[5], "\x1b[1;31m  file:a.ts  6.2 kbit/s  15 datagrams  15 datagrams not sent\x1b[0m");
  EXPECT_THAT(withoutStyles(block[8]), StartsWith("  PAT "));
}

TEST(LiveView, ShowsEachOfSeveralDestinationsOnOneLine) {
  EXPECT_EQ(lineOf(makeSeveral()),
            "01:02:03  12.3 kbit/s  1 234 567 packets  30 datagrams  nothing lost"
            "  to 239.1.1.1:5004  12.3 kbit/s  30 datagrams  nothing lost"
            "  to rtp://[ff05::1]:5004  0.0 kbit/s  1 datagram  29 datagrams not sent: No such device"
            "  to file:a.ts  6.2 kbit/s  15 datagrams  15 datagrams not sent"
            "  PAT@0x0000 v3 200.0 ms/200 ms");
}

TEST(LiveView, SumsEachOfSeveralDestinationsUp) {
  EXPECT_EQ(summaryOf(makeSeveral()),
            "01:02:03 on air, 1 234 567 packets in 30 datagrams, 5 640 bytes, nothing lost\n"
            "  239.1.1.1:5004: 30 datagrams, 5 640 bytes, nothing lost\n"
            "  rtp://[ff05::1]:5004: 1 datagram, 188 bytes, 29 datagrams not sent: No such device\n"
            "  file:a.ts: 15 datagrams, 2 820 bytes, 15 datagrams not sent");
}

TEST(LiveView, SaysByHowMuchPeriodsAreStretched) {
  OutputState state = makeState(1);
  state.ceiling = 100;
  state.statistics.required = 293.4;
  state.statistics.stretch = 2.934;
  const std::string sentence = "needs 293 of 100 kbit/s: all periods are 2.93 times as long";
  EXPECT_THAT(lineOf(state), HasSubstr("  nothing lost  " + sentence + "  PAT@"));
  const auto block = blockOf(state, {80, 24});
  ASSERT_EQ(block.size(), 9U);
  EXPECT_EQ(withoutStyles(block[3]), "  " + sentence);
  EXPECT_THAT(block[3], StartsWith("\x1b[33m"));
  EXPECT_THAT(withoutStyles(block[6]), StartsWith("  PAT "));
}

TEST(LiveView, SaysNothingOfAStretchWhileEverythingFits) {
  OutputState state = makeState(1);
  state.statistics.required = 1024;
  EXPECT_THAT(lineOf(state), Not(HasSubstr("needs")));
  EXPECT_EQ(blockOf(state, {80, 24}).size(), 8U);
}

TEST(StretchNotice, ComesOnceForEachChange) {
  const auto stretchedTo = [](double required, double stretch) {
    MuxerStatistics statistics;
    statistics.required = required;
    statistics.stretch = stretch;
    return statistics;
  };
  StretchNotice notice;
  EXPECT_EQ(notice.update(stretchedTo(80, 1), 100), "");
  const std::string first = "needs 1 293 of 1 000 kbit/s: all periods are 1.29 times as long";
  EXPECT_EQ(notice.update(stretchedTo(1293, 1.293), 1000), first);
  EXPECT_EQ(notice.update(stretchedTo(1293, 1.293), 1000), "");
  EXPECT_EQ(notice.update(stretchedTo(1400, 1.4), 1000),
            "needs 1 400 of 1 000 kbit/s: all periods are 1.40 times as long");
  EXPECT_EQ(notice.update(stretchedTo(900, 1), 1000), "");
  EXPECT_EQ(notice.update(stretchedTo(1293, 1.293), 1000), first) << "it had fitted in between";
}

TEST(LiveView, ShowsATableInARowOfItsOwn) {
  const auto block = blockOf(makeState(1), {80, 24});
  ASSERT_EQ(block.size(), 8U);
  EXPECT_EQ(withoutStyles(block[0]), "  servicemux  to 239.1.1.1:5004  on air 01:02:03");
  EXPECT_EQ(withoutStyles(block[2]), "  12.3 kbit/s of 1 024   1 234 567 packets   1 datagram   nothing lost");
  EXPECT_EQ(withoutStyles(block[5]),
            "  PAT                          0x0000    3   200 ms   200.0 ms       1       3");
}

TEST(LiveView, PointsOutATableThatMissesItsPeriod) {
  OutputState state = makeState(0);
  state.tables = {makeTable("PAT", 0, 200, 215, 3), makeTable("CAT", 1, 200, 225, 3), makeTable("CAT", 1, 0, 5, 3)};
  const auto block = blockOf(state, {80, 24});
  EXPECT_THAT(block[5], StartsWith("\x1b[33m  CAT"));
  EXPECT_THAT(block[6], Not(StartsWith("\x1b[33m")));
  EXPECT_THAT(block[7], Not(StartsWith("\x1b[33m")));
}

TEST(LiveView, FitsEveryScreen) {
  for (const std::size_t rows : {1, 2, 5, 10, 24})
    for (const std::size_t columns : {1, 10, 80}) {
      const auto block = blockOf(makeState(30), {columns, rows});
      EXPECT_LT(block.size(), std::max<std::size_t>(rows, 2));
      for (const auto& line : block) EXPECT_LE(withoutStyles(line).size(), columns);
    }
}

TEST(LiveView, SaysHowManyTablesDoNotFit) {
  const auto block = blockOf(makeState(30), {80, 12});
  ASSERT_EQ(block.size(), 11U);
  EXPECT_EQ(withoutStyles(block[7]),
            "  PAT                          0x0000    3   200 ms   200.0 ms       1       3");
  EXPECT_EQ(withoutStyles(block[8]), "  and 27 more");
}

TEST(LiveView, ATableOffItsPeriodComesFirstHoweverManyThereAre) {
  OutputState state = makeState(300);
  state.tables.push_back(makeTable("SDT other 65535/65535", 0x11, 10000, 15000, 3));
  state.tables.push_back(makeTable("NIT actual", 0x10, 500, 1000, 3));
  const auto block = blockOf(state, {80, 24});
  ASSERT_EQ(block.size(), 23U);
  EXPECT_THAT(withoutStyles(block[5]), StartsWith("  NIT actual")) << "twice as long as it should be";
  EXPECT_THAT(withoutStyles(block[6]), StartsWith("  SDT other 65535/65535"));
  EXPECT_EQ(withoutStyles(block[20]), "  and 287 more");
}

TEST(LiveView, CountsTheTablesOffTheirPeriodsAmongThoseThatDoNotFit) {
  OutputState state = makeState(300);
  state.tables.push_back(makeTable("SDT other 65535/65535", 0x11, 10000, 15000, 3));
  ListView view(true);
  view.take(Key::kDown);
  const auto block = blockOf(state, {80, 24}, view);
  EXPECT_EQ(withoutStyles(block[20]), "  1 above, and 285 more, 1 of them off their periods");
  EXPECT_EQ(withoutStyles(block[22]), "  Ctrl-C ends it   s: worst first   arrows, PgUp, PgDn, Home, End: scroll");
}

TEST(LiveView, KeepsTheLongestNameOfATableApartFromItsPid) {
  OutputState state = makeState(0);
  state.tables = {makeTable("SDT other 65535/65535", 0x11, 10000, 10000, 3)};
  EXPECT_EQ(withoutStyles(blockOf(state, {80, 24})[5]),
            "  SDT other 65535/65535        0x0011    3 10000 ms 10000.0 ms       1       3");
}

TEST(LiveView, MakesRoomForTheNamesOfNamesakes) {
  OutputState state = makeState(1);
  state.tables.push_back(makeTable("EIT schedule other 60 258 of 65535/65535", 0x12, 60000, 60000, 3));
  const auto block = blockOf(state, {120, 24});
  EXPECT_EQ(withoutStyles(block[6]),
            "  EIT schedule other 60 258 of 65535/65535  0x0012    3 60000 ms 60000.0 ms       1       3");
  EXPECT_EQ(withoutStyles(block[5]).find("0x0000"), withoutStyles(block[6]).find("0x0012"));
  EXPECT_EQ(withoutStyles(block[4]).find("PID"), withoutStyles(block[6]).find("0x0012"));
}

TEST(LiveView, NamesOnlyTheFirstOfManyTablesOnOneLine) {
  EXPECT_THAT(lineOf(makeState(8)), Not(HasSubstr("more")));
  const std::string line = lineOf(makeState(300));
  EXPECT_THAT(line, HasSubstr("200.0 ms/200 ms  and 292 more"));
  EXPECT_LT(line.size(), 500U);
}

TEST(LiveView, NamesEveryTableOffItsPeriodOnTheLine) {
  OutputState state = makeState(300);
  for (int i = 0; i < 12; ++i)
    state.tables.push_back(makeTable(("PMT " + std::to_string(i)).c_str(), 0x100, 200, 300, 3));
  const std::string line = lineOf(state);
  for (int i = 0; i < 12; ++i) EXPECT_THAT(line, HasSubstr("PMT " + std::to_string(i) + "@0x0100"));
  EXPECT_THAT(line, HasSubstr("and 300 more"));
  EXPECT_THAT(line, Not(HasSubstr("PAT@")));
}

TEST(RateMeter, MeasuresOverTheLastSeconds) {
  RateMeter meter;
  const RateMeter::Clock::time_point start{};
  EXPECT_EQ(meter.update(start, 0), 0);
  EXPECT_DOUBLE_EQ(meter.update(start + 1s, 1000), 8);
  EXPECT_DOUBLE_EQ(meter.update(start + 2s, 3000), 12);
  EXPECT_DOUBLE_EQ(meter.update(start + 4s, 3000), 0);
  EXPECT_DOUBLE_EQ(meter.update(start + 5s, 4000), 8. / 3);
}

}  // namespace
}  // namespace vantor::cli
