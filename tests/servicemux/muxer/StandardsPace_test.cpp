#include "servicemux/muxer/StandardsPace.h"

#include <gmock/gmock.h>

#include <numeric>

#include "servicemux/muxer/standardsLimits.h"
#include "tests/servicemux/muxer/PacedOutput.h"

/// What the tables of several PIDs have to do with one another: datagrams, the ceiling, and what does not fit.

namespace {

using testing::AllOf;
using testing::DoubleNear;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using vantor::TableNeed;
using vantor::standards::kGap;

class StandardsPaceTest : public PacedOutput {
 protected:
  static constexpr double kUsable = 0.96;

  /// What so many packets need in so many ms.
  static double kbps(double packets, double milliseconds) { return packets * 1504 / milliseconds; }

  void setCeiling(unsigned int kbps) { pace.setCeiling(kbps, now()); }
  void waitForOthers(nanoseconds longest) { pace.setDatagrams(longest, 7, now()); }

  static double meanMs(const std::vector<nanoseconds>& times) {
    const nanoseconds sum = std::accumulate(times.begin(), times.end(), nanoseconds::zero());
    return static_cast<double>(sum.count()) / 1e6 / static_cast<double>(times.size());
  }

  /// The most packets that have left in any second.
  std::size_t mostInASecond() const {
    std::size_t most = 0;
    for (std::size_t first = 0, last = 0; last < sent.size(); ++last) {
      while (sent[last].at - sent[first].at >= seconds(1)) ++first;
      most = std::max(most, last - first + 1);
    }
    return most;
  }

  std::vector<nanoseconds> departures() const {
    std::vector<nanoseconds> times;
    for (const SentPacket& packet : sent)
      if (packet.datagram == times.size()) times.push_back(packet.at);
    return times;
  }
};

}  // namespace

// --- Datagrams --------------------------------------------------------------------------------------------------

TEST_F(StandardsPaceTest, TablesOfOnePeriodShareADatagram) {
  waitForOthers(milliseconds(20));
  const PacedContent& a = add(stream(1), 1000);
  run(milliseconds(10));
  const PacedContent& b = add(stream(2), 1000);
  run(milliseconds(1000));
  EXPECT_EQ(arrivals(a).at(1), milliseconds(935)) << "0.915, and 20 ms for others";
  EXPECT_EQ(arrivals(b).at(1), milliseconds(935));
  EXPECT_THAT(sizes(), ElementsAre(1, 1, 2));
}

TEST_F(StandardsPaceTest, APartialDatagramWaitsNoLongerThanIsSet) {
  waitForOthers(milliseconds(5));
  const PacedContent& a = add(stream(1), 1000);
  run(milliseconds(10));
  const PacedContent& b = add(stream(2), 1000);
  run(milliseconds(1000));
  EXPECT_EQ(arrivals(a).at(1), milliseconds(920));
  EXPECT_EQ(arrivals(b).at(1), milliseconds(930));
}

TEST_F(StandardsPaceTest, AFullDatagramLeavesWhenItIsFull) {
  waitForOthers(milliseconds(20));
  for (unsigned short pid = 1; pid <= 8; ++pid) {
    add(stream(pid), 1000);
    run(milliseconds(1));
  }
  run(milliseconds(1000));
  EXPECT_THAT(departures(),
              ElementsAre(milliseconds(0), milliseconds(1), milliseconds(2), milliseconds(3), milliseconds(4),
                          milliseconds(5), milliseconds(6), milliseconds(7), milliseconds(921), milliseconds(942)));
  EXPECT_EQ(sizes().at(8), 7U) << "with the seventh";
}

TEST_F(StandardsPaceTest, ADatagramHasNoMorePacketsThanThatAreAllowed) {
  pace.setDatagrams(milliseconds(20), 3, now());
  for (unsigned short pid = 1; pid <= 8; ++pid) add(stream(pid), 1000);
  run(milliseconds(10));
  EXPECT_THAT(sent, SizeIs(8));
  EXPECT_THAT(sizes(), ElementsAre(3, 3, 2));
}

TEST_F(StandardsPaceTest, TheSlotsOfADatagramTakeNoMoreThan20Milliseconds) {
  setCeiling(263);  // 5.7 ms a packet
  for (unsigned short pid = 1; pid <= 7; ++pid) add(stream(pid), 10000);
  run(milliseconds(100));
  EXPECT_THAT(sent, SizeIs(7));
  EXPECT_THAT(sizes(), Each(Le(3U)));
  sent.clear();
  datagrams = 0;
  setCeiling(50);  // 30 ms a packet
  run(seconds(20));
  EXPECT_THAT(sent, SizeIs(Ge(7U)));
  EXPECT_THAT(sizes(), Each(1U));
}

TEST_F(StandardsPaceTest, From70PercentOfTheCeilingOnNobodyWaitsForOthers) {
  waitForOthers(milliseconds(20));
  setCeiling(1000);
  PacedStream& silent = stream();
  unsigned short pid = 1;
  silent.isRefusing = true;
  for (const double load : {0.69, 0.71}) {
    const auto packets = static_cast<std::uint32_t>(1000 * kUsable * load / kbps(1, 10000));
    PacedContent& others = add(silent, 10000, {packets});
    PacedContent& table = add(stream(pid++), 1000);
    const nanoseconds since = passed;
    run(milliseconds(1000));
    const nanoseconds second = arrivals(table).at(1) - since;
    if (load > 0.7) {
      EXPECT_LE(second, milliseconds(915));
    } else {
      EXPECT_THAT(second, AllOf(Ge(milliseconds(930)), Le(milliseconds(935))));
    }
    pace.remove(others);
    pace.remove(table);
    run(milliseconds(100));
  }
}

TEST_F(StandardsPaceTest, WhoWouldHaveToGoBeforeTheSlotsAreOverGoesWithThemEarlier) {
  waitForOthers(milliseconds(0));
  setCeiling(530);  // 2.8 ms a packet, 20 ms a datagram
  const PacedContent& a = add(stream(1), 1000);
  run(milliseconds(12));
  const PacedContent& b = add(stream(2), 1000);
  run(milliseconds(1000));
  EXPECT_EQ(arrivals(a).at(1), milliseconds(915));
  EXPECT_EQ(arrivals(b).at(1), milliseconds(915)) << "0.903 of its period";
}

// --- The ceiling ------------------------------------------------------------------------------------------------

TEST_F(StandardsPaceTest, NoSecondIsAboveTheCeiling) {
  setCeiling(1000);
  for (unsigned short pid = 1; pid <= 60; ++pid) add(stream(pid), 100 + 7U * pid, {1, 2});
  run(seconds(20));
  EXPECT_LE(mostInASecond(), 664U);
}

TEST_F(StandardsPaceTest, WhatPressesLeavesAheadOfItsSlot) {
  for (unsigned short pid = 1; pid <= 10; ++pid) add(stream(pid), 1000);
  run(milliseconds(500));
  setCeiling(200);  // 7.5 ms a packet
  run(milliseconds(441));
  EXPECT_THAT(sent, SizeIs(20)) << "from 915 ms on, though their slots are over after 990 ms";
}

TEST_F(StandardsPaceTest, SoDoesNewContentAfter25Milliseconds) {
  for (unsigned short pid = 1; pid <= 10; ++pid) add(stream(pid), 1000);
  run(milliseconds(500));
  setCeiling(200);
  run(milliseconds(441));
  const PacedContent& table = add(stream(11), 10000);
  run(milliseconds(25));
  EXPECT_THAT(arrivals(table), SizeIs(1)) << "the next slot is 49 ms away";
}

TEST_F(StandardsPaceTest, NewContentWaitsForTheSlotsOfWhatWasPutOnAirBefore) {
  setCeiling(200);
  for (unsigned short pid = 1; pid <= 10; ++pid) add(stream(pid), 10000);
  run(milliseconds(26));
  EXPECT_THAT(sent, SizeIs(AllOf(Ge(4U), Le(6U))));
  run(milliseconds(50));
  EXPECT_THAT(sent, SizeIs(10)) << "slot by slot";
}

TEST_F(StandardsPaceTest, NewVersionsLeaveTheOtherTablesTheirTime) {
  setCeiling(1000);
  const PacedContent& table = add(stream(1), 100);
  for (unsigned short pid = 2; pid < 42; ++pid) add(stream(pid), 20000, {10});
  run(seconds(3));
  sent.clear();
  for (std::size_t i = 1; i < tables.size(); ++i) replace(*tables[i], *streams[i]);
  run(seconds(3));
  EXPECT_THAT(sent, SizeIs(Ge(400U)));
  EXPECT_THAT(intervals(table), Each(Le(milliseconds(100))));
}

TEST_F(StandardsPaceTest, TablesThatAreNewLeaveThoseOnAirTheirTime) {
  setCeiling(1000);
  std::vector<PacedContent*> shortOnes;
  for (unsigned short pid = 1; pid < 6; ++pid) shortOnes.push_back(&add(stream(pid), 100));
  run(seconds(3));
  const nanoseconds since = passed;
  PacedStream& shared = stream(100);
  for (unsigned short pid = 10; pid < 50; ++pid) add(pid % 4 == 0 ? shared : stream(pid), 20000, {10});
  run(seconds(10));
  for (const PacedContent* const table : shortOnes) {
    EXPECT_THAT(intervals(*table), SizeIs(Ge(125U)));
    EXPECT_THAT(intervals(*table), Each(Le(milliseconds(100)))) << table->table;
  }
  for (std::size_t i = shortOnes.size(); i < tables.size(); ++i) {
    ASSERT_THAT(arrivals(*tables[i]), SizeIs(1)) << i;
    EXPECT_LE(arrivals(*tables[i]).front(), since + milliseconds(900)) << "602 ms at the ceiling";
  }
}

// --- What does not fit ------------------------------------------------------------------------------------------

TEST_F(StandardsPaceTest, WhatFitsIsNotStretched) {
  setCeiling(1000);
  add(stream(1), 100, {10});
  add(stream(2), 1000, {1, 2, 3});
  EXPECT_THAT(pace.required(), DoubleNear(kbps(10, 100) + kbps(6, 1000), 0.01));
  EXPECT_EQ(pace.stretch(), 1);
}

TEST_F(StandardsPaceTest, TheStretchIsWhatIsAskedForOfWhatCanBeUsedOfTheCeiling) {
  setCeiling(100);
  for (unsigned short pid = 1; pid <= 4; ++pid) add(stream(pid), 100 * pid, {5});
  const double needed = kbps(5, 100) + kbps(5, 200) + kbps(5, 300) + kbps(5, 400);
  EXPECT_THAT(pace.required(), DoubleNear(needed, 0.01));
  EXPECT_THAT(pace.stretch(), DoubleNear(needed / (100 * kUsable), 0.001));
  run(seconds(5));
  sent.clear();
  run(seconds(300));
  for (const auto& table : tables)
    EXPECT_NEAR(meanMs(intervals(*table)) / table->layout.period / pace.stretch(), 1, 0.02) << table->table;
  EXPECT_LE(mostInASecond(), 66U);
}

TEST_F(StandardsPaceTest, TheStretchFollowsTablesPeriodsAndCeiling) {
  setCeiling(100);
  PacedContent& a = add(stream(1), 100, {10});
  EXPECT_THAT(pace.stretch(), DoubleNear(kbps(10, 100) / 96, 0.001));
  PacedContent& b = add(stream(2), 100, {10});
  EXPECT_THAT(pace.stretch(), DoubleNear(kbps(20, 100) / 96, 0.001));
  b.layout.period = 200;
  pace.changePeriod(b, now());
  EXPECT_THAT(pace.stretch(), DoubleNear(kbps(15, 100) / 96, 0.001));
  a.layout.packets = {5};
  replace(a, *streams.front());
  EXPECT_THAT(pace.stretch(), DoubleNear(kbps(10, 100) / 96, 0.001));
  setCeiling(120);
  EXPECT_THAT(pace.stretch(), DoubleNear(kbps(10, 100) / 96 / 1.2, 0.001));
  pace.remove(a);
  EXPECT_THAT(pace.required(), DoubleNear(kbps(5, 100), 0.001));
  EXPECT_EQ(pace.stretch(), 1);
  pace.remove(b);
  EXPECT_EQ(pace.required(), 0);
}

TEST_F(StandardsPaceTest, TheStretchOfATableThatKeepsItsDistancesIsTheTimeTheyTake) {
  PacedContent& table = add(126, std::vector<std::uint32_t>(10, 1));
  EXPECT_THAT(pace.stretch(), DoubleNear(10 * 25.2 / 126, 0.0001));
  run(seconds(2));
  sent.clear();
  run(seconds(60));
  for (int section = 0; section < 10; ++section) EXPECT_NEAR(meanMs(intervals(table, section)), 252, 5) << section;
  table.layout.period = 252;
  pace.changePeriod(table, now());
  EXPECT_THAT(pace.stretch(), DoubleNear(1, 0.0001));
}

TEST_F(StandardsPaceTest, FurtherPacketsOfASectionTakeTheirTimeToo) {
  add(100, std::vector<std::uint32_t>(5, 3));
  EXPECT_THAT(pace.stretch(), DoubleNear((5 * 25.2 + 10 * 1.55) / 100, 0.0001));
}

TEST_F(StandardsPaceTest, TablesThatKeepTheirDistancesFromOneAnotherAreCountedTogether) {
  PacedContent& a = add(100, {1, 1, 1});
  EXPECT_EQ(pace.stretch(), 1);
  PacedContent& b = table(200, {1, 1, 1});
  b.layout.key = a.layout.key;
  pace.put(b, *streams.front(), now());
  EXPECT_THAT(pace.stretch(), DoubleNear(3 * 25.2 / 100 + 3 * 25.2 / 200, 0.0001));
  pace.remove(a);
  EXPECT_EQ(pace.stretch(), 1);
}

TEST_F(StandardsPaceTest, OfBothTheGreaterOneIsTheStretch) {
  add(stream(1), 100, std::vector<std::uint32_t>(8, 1));
  const double byDistance = 8 * 25.2 / 100;
  setCeiling(100);
  EXPECT_THAT(pace.stretch(), DoubleNear(byDistance, 0.0001));
  add(stream(2), 100, {10});
  EXPECT_THAT(pace.stretch(), DoubleNear(kbps(18, 100) / 96, 0.001));
  EXPECT_GT(pace.stretch(), byDistance);
}

TEST_F(StandardsPaceTest, NothingStarvesAndAllReturnToTheirPeriods) {
  setCeiling(100);
  const PacedContent& shortOne = add(stream(1), 50, {5});
  const PacedContent& longOne = add(stream(2), 2000, {5});
  run(seconds(30));
  EXPECT_THAT(intervals(longOne), SizeIs(Ge(7U)));
  run(arrivals(longOne).back() + milliseconds(100) - passed);
  const nanoseconds last = arrivals(longOne).back();
  setCeiling(kPlenty);
  runUntil(last + milliseconds(2000));
  EXPECT_GT(arrivals(longOne).back(), last) << "plans are made anew";
  run(seconds(3));
  sent.clear();
  run(seconds(20));
  EXPECT_THAT(intervals(shortOne), Each(Le(milliseconds(50))));
  EXPECT_THAT(intervals(longOne), Each(Le(milliseconds(2000))));
}

TEST_F(StandardsPaceTest, EachRepeatedTableIsNamedWithWhatItNeeds) {
  setCeiling(1000);
  const PacedContent& a = add(stream(0x12), 100, {3, 4});
  PacedContent& b = table(200);
  b.layout.hasSections = false;
  pace.put(b, stream(0x13), now());
  addQueue(milliseconds(10), {1, 1});
  addFiller();
  depart();  // the section of `a` is under way
  std::vector<TableNeed> needs = pace.needs();
  ASSERT_THAT(needs, SizeIs(2));
  EXPECT_EQ(needs[0].pid, 0x12);
  EXPECT_EQ(needs[0].key.table_id, a.layout.key.table_id);
  EXPECT_EQ(needs[0].key.extension, a.layout.key.extension);
  EXPECT_TRUE(needs[0].hasSections);
  EXPECT_EQ(needs[0].sections, 2U);
  EXPECT_EQ(needs[0].period, 100U);
  EXPECT_NEAR(needs[0].kbps, kbps(7, 100), 0.001);
  EXPECT_EQ(needs[1].pid, 0x13);
  EXPECT_FALSE(needs[1].hasSections);
  EXPECT_NEAR(needs[1].kbps, kbps(1, 200), 0.001);
  EXPECT_NEAR(pace.required(), kbps(7, 100) + kbps(1, 200), 0.001);
}

// --- Null packets -----------------------------------------------------------------------------------------------

TEST_F(StandardsPaceTest, FillersUseWhatIsLeftOverAndDatagramsAreFull) {
  setCeiling(1000);
  addFiller();
  run(seconds(10));
  EXPECT_THAT(sizes(), Each(7U));
  EXPECT_LE(mostInASecond(), 664U);
  EXPECT_GE(sent.size(), 6300U) << "what is kept for others is not used";
}

TEST_F(StandardsPaceTest, TablesAreInTimeBesideAFiller) {
  setCeiling(1000);
  addFiller();
  for (unsigned short pid = 1; pid <= 20; ++pid) add(stream(pid), 100 + 50U * pid, {4});
  run(seconds(1));
  sent.clear();
  run(seconds(30));
  for (const auto& table : tables) {
    if (table->layout.kind == Kind::kFiller) continue;
    EXPECT_THAT(intervals(*table), Each(Le(milliseconds(table->layout.period)))) << table->table;
  }
  EXPECT_LE(mostInASecond(), 664U);
  EXPECT_GE(sent.size(), 30 * 630U);
}

TEST_F(StandardsPaceTest, WhatPressesWaitsForTheFillersDatagramButNotUntilItIsLate) {
  setCeiling(1000);  // 10.5 ms a datagram
  waitForOthers(milliseconds(20));
  addFiller();
  const PacedContent& relaxed = add(stream(1), 300);  // presses from 282 ms on, half of the rest is 9
  run(seconds(1));
  sent.clear();
  datagrams = 0;
  run(seconds(60));
  const auto full = sizes();
  const auto partial =
      static_cast<std::size_t>(std::count_if(full.begin(), full.end(), [](auto n) { return n < 7; }));
  EXPECT_LE(partial, 10U) << "where room is kept for what presses, the filler pauses for longer";
  EXPECT_THAT(intervals(relaxed), Each(Le(milliseconds(300))));
  const PacedContent& tight = add(stream(2), 60);  // half of the rest is less than 2 ms
  run(seconds(1));
  sent.clear();
  run(seconds(60));
  EXPECT_THAT(intervals(tight), SizeIs(Ge(1000U)));
  EXPECT_THAT(intervals(tight), Each(Le(milliseconds(60))));
}

TEST_F(StandardsPaceTest, WhatPressesDoesNotWakeTheSenderUpJustBeforeTheFillersDatagram) {
  setCeiling(1000);  // 95 datagrams a second
  addFiller();
  for (unsigned short pid = 1; pid < 10; ++pid) {
    add(stream(pid), 200);
    run(milliseconds(23));
  }
  run(seconds(5));
  datagrams = 0;
  run(seconds(60));
  EXPECT_LE(datagrams, 60U * 92) << "93 or more, where the sender wakes up for one packet";
}

TEST_F(StandardsPaceTest, NewContentIsPromptBesideAFiller) {
  setCeiling(200);  // 53 ms a datagram of seven; it has two
  addFiller();
  run(milliseconds(1003));
  const nanoseconds since = passed;
  const PacedContent& table = add(stream(1), 1000);
  run(milliseconds(25));
  ASSERT_THAT(arrivals(table), SizeIs(1));
  EXPECT_LE(arrivals(table).front() - since, milliseconds(25));
}

TEST_F(StandardsPaceTest, SeveralFillersTakeTurns) {
  setCeiling(1000);
  const PacedContent& a = addFiller(0x1FFF);
  const PacedContent& b = addFiller(0x1FFE, 3);
  PacedContent& c = addFiller(0x1FFD);
  run(seconds(5));
  EXPECT_NEAR(static_cast<double>(of(a).size()), static_cast<double>(of(c).size()), 1);
  EXPECT_NEAR(static_cast<double>(of(b).size()), 3.0 * static_cast<double>(of(a).size()), 3);
  expectWhole(on(0x1FFE));
  for (const unsigned short pid : {0x1FFF, 0x1FFE, 0x1FFD}) expectUnbroken(on(pid));
  pace.remove(c);
  sent.clear();
  run(seconds(1));
  EXPECT_THAT(of(c), IsEmpty());
  EXPECT_THAT(of(a), SizeIs(Ge(150U)));
}

TEST_F(StandardsPaceTest, ATableCanBecomeAFillerAndOneAgain) {
  setCeiling(1000);
  PacedStream& stream = this->stream();
  PacedContent& table = add(stream, 100);
  table.layout.period = 0;
  table.layout.kind = Kind::kFiller;
  table.layout.hasSections = false;
  pace.changePeriod(table, now());
  run(seconds(1));
  EXPECT_THAT(sent, SizeIs(Ge(630U)));
  EXPECT_EQ(pace.required(), 0);
  table.layout.period = 100;
  table.layout.kind = Kind::kRepeated;
  pace.changePeriod(table, now());
  sent.clear();
  run(seconds(1));
  EXPECT_THAT(sent, SizeIs(AllOf(Ge(10U), Le(12U))));
  expectUnbroken(sent);
}

// --- The end ----------------------------------------------------------------------------------------------------

TEST_F(StandardsPaceTest, WhenItIsToFinishOnlySectionsUnderWayGoOn) {
  PacedContent& a = add(stream(1), 100, {12});
  PacedContent& b = add(stream(2), 100);
  addFiller();
  setCeiling(1000);
  run(milliseconds(8));
  ASSERT_TRUE(pace.isUnderWay());
  sent.clear();
  pace.finish(true);
  passed += milliseconds(50);  // so that there is room for others
  run(seconds(1));
  EXPECT_FALSE(pace.isUnderWay());
  EXPECT_EQ(pace.nextDeparture(), time_point::max());
  EXPECT_THAT(sent, SizeIs(AllOf(Ge(1U), Le(11U))));
  EXPECT_TRUE(sent.back().ends());
  for (const SentPacket& packet : sent) EXPECT_EQ(packet.table, a.table);
  sent.clear();
  pace.finish(false);
  run(milliseconds(100));
  EXPECT_THAT(of(a), SizeIs(Ge(6U)));
  EXPECT_THAT(of(b), SizeIs(Ge(1U)));
  EXPECT_THAT(on(0x1FFF), SizeIs(Ge(10U)));
}

TEST_F(StandardsPaceTest, ASectionOfAFillerIsFinishedToo) {
  setCeiling(500);
  addFiller(0x1FFF, 20);
  run(milliseconds(30));
  ASSERT_TRUE(pace.isUnderWay());
  pace.finish(true);
  run(seconds(1));
  EXPECT_FALSE(pace.isUnderWay());
  EXPECT_TRUE(sent.back().ends());
  expectWhole(sent);
}

TEST_F(StandardsPaceTest, ClearedItIsAsAtTheBeginningButForItsDistances) {
  PacedContent& a = add(stream(1), 1000, {6});
  addFiller();
  addQueue(milliseconds(1), {1, 1, 1});
  run(milliseconds(2));
  pace.clear(now());
  EXPECT_EQ(pace.nextDeparture(), time_point::max());
  EXPECT_FALSE(pace.isUnderWay());
  EXPECT_EQ(pace.required(), 0);
  EXPECT_THAT(pace.needs(), IsEmpty());
  sent.clear();
  pace.put(a, *streams.front(), now());
  run(milliseconds(100));
  ASSERT_THAT(sent, SizeIs(6));
  EXPECT_EQ(sent.front().at, milliseconds(2) + kGap);
  EXPECT_TRUE(sent.front().begins());
}

// --- What goes first where there is little room -----------------------------------------------------------------

TEST_F(StandardsPaceTest, ManySectionsOfALongPeriodThatCameTogetherLeaveTheReserveToOthers) {
  pace.setCeiling(600, now());
  std::vector<PacedContent*> shortOnes;
  for (unsigned short pid = 0x200; pid < 0x208; ++pid) shortOnes.push_back(&add(stream(pid), 200, {2}));
  PacedStream& guide = stream();
  for (int i = 0; i < 150; ++i) add(guide, 20000, {4});
  run(seconds(10));
  sent.clear();
  run(seconds(60));
  for (const PacedContent* const table : shortOnes) {
    EXPECT_THAT(intervals(*table), SizeIs(Ge(290U)));
    const auto times = arrivals(*table);
    for (std::size_t i = 1; i < times.size(); ++i)
      EXPECT_LE(times[i] - times[i - 1], milliseconds(200)) << times[i];
  }
}

TEST_F(StandardsPaceTest, MessagesGiveWayToTables) {
  pace.setCeiling(600, now());
  std::vector<PacedContent*> shortOnes;
  for (unsigned short pid = 0x200; pid < 0x210; ++pid) shortOnes.push_back(&add(stream(pid), 100, {2}));
  run(seconds(5));
  sent.clear();
  const PacedContent& messages = addQueue(milliseconds(5), std::deque<std::uint32_t>(500, 1));
  run(seconds(20));
  for (const PacedContent* const table : shortOnes) EXPECT_THAT(intervals(*table), Each(Le(milliseconds(100))));
  EXPECT_THAT(of(messages), SizeIs(500U));
}
