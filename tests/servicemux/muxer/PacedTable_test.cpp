#include "servicemux/muxer/PacedTable.h"

#include <gmock/gmock.h>

#include <numeric>

#include "servicemux/muxer/UtcSecond.h"
#include "servicemux/muxer/standardsLimits.h"
#include "tests/servicemux/muxer/PacedOutput.h"

/// When the sections of one table leave that has its PID for itself, or nearly.

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using vantor::standards::kGap;

class PacedTableTest : public PacedOutput {
 protected:
  static nanoseconds meanOf(const std::vector<nanoseconds>& times) {
    const nanoseconds sum = std::accumulate(times.begin(), times.end(), nanoseconds::zero());
    return times.empty() ? sum : sum / static_cast<nanoseconds::rep>(times.size());
  }

  void waitForOthers(nanoseconds longest) { pace.setDatagrams(longest, 7, now()); }
};

/// The clock that a test sets.
class UtcOfTest final : public vantor::UtcSecond {
 public:
  explicit UtcOfTest(const nanoseconds& passed) : passed(passed) {}
  nanoseconds elapsed() const override { return (passed + offset) % nanoseconds(seconds(1)); }

  nanoseconds offset{0};

 private:
  const nanoseconds& passed;
};

class OnTheSecond : public PacedTableTest {
 protected:
  PacedContent& addTime(unsigned int period) {
    PacedContent& time = table(period);
    time.layout.second = &utc;
    pace.put(time, stream(), now());
    return time;
  }

  /// So much of its second is over when each packet leaves.
  std::vector<nanoseconds> places() const {
    std::vector<nanoseconds> found;
    for (const SentPacket& packet : sent) found.push_back((packet.at + utc.offset) % nanoseconds(seconds(1)));
    return found;
  }

  UtcOfTest utc{passed};
};

}  // namespace

// --- A period ---------------------------------------------------------------------------------------------------

TEST_F(PacedTableTest, ALoneSectionLeavesWhen915ThousandthsOfItsPeriodAreOver) {
  const PacedContent& table = add(1000);
  run(milliseconds(3000));
  EXPECT_THAT(arrivals(table),
              ElementsAre(milliseconds(0), milliseconds(915), milliseconds(1830), milliseconds(2745)));
}

TEST_F(PacedTableTest, ItWaitsForOthersFor2PercentOfItsPeriodAndNoLongerThanIsSet) {
  waitForOthers(milliseconds(20));
  PacedContent& shortOne = add(100);
  run(milliseconds(150));
  EXPECT_THAT(arrivals(shortOne), ElementsAre(milliseconds(0), microseconds(93500)));
  pace.remove(shortOne);
  const PacedContent& longOne = add(10000);
  run(seconds(11));
  EXPECT_THAT(intervals(longOne), ElementsAre(milliseconds(9170)));
}

TEST_F(PacedTableTest, ThePeriodCountsFromLastByteToLastByte) {
  const PacedContent& table = add(1000, {10});
  run(seconds(10));
  EXPECT_THAT(intervals(table), SizeIs(Ge(10U)));
  EXPECT_THAT(intervals(table), Each(AllOf(Ge(milliseconds(900)), Le(milliseconds(930)))));
}

struct Content {
  unsigned int period;
  std::vector<std::uint32_t> packets;
};

class EachPeriod : public PacedTableTest, public testing::WithParamInterface<Content> {};

TEST_P(EachPeriod, IsAMaximumAndTheMeanIsNotBelowNineTenthsOfIt) {
  for (const int wait : {0, 5, 40}) {
    waitForOthers(milliseconds(wait));
    sent.clear();
    const PacedContent& table = add(GetParam().period, GetParam().packets);
    const milliseconds period(GetParam().period);
    run(40 * period);
    for (std::size_t section = 0; section < GetParam().packets.size(); ++section) {
      const auto times = intervals(table, static_cast<int>(section));
      EXPECT_THAT(times, SizeIs(Ge(38U)));
      EXPECT_THAT(times, Each(Le(period)));
      EXPECT_GE(meanOf(times), period * 9 / 10);
    }
    pace.remove(*tables.back());
  }
}

INSTANTIATE_TEST_SUITE_P(OfTables, EachPeriod,
                         testing::Values(Content{50, {1}}, Content{100, {1, 1}}, Content{200, {3, 1, 2}},
                                         Content{500, {6, 6, 6, 6, 6}}, Content{2000, {1, 23, 5}},
                                         Content{1000, std::vector<std::uint32_t>(30, 1)}));

TEST_F(PacedTableTest, SectionsOfATableKeepApartThoughTheyLeftOneRightBehindTheOther) {
  const PacedContent& table = add(1000, {1, 1, 1, 1, 1});
  streams.front()->isRefusing = true;  // so that all of them are late
  run(seconds(2));
  streams.front()->isRefusing = false;
  run(milliseconds(150));
  EXPECT_THAT(sent, SizeIs(5));
  add(*streams.front(), 100, {10});  // so that the PID has no time to spread them
  run(seconds(60));
  const auto packets = of(table);
  for (std::size_t i = packets.size() - 20; i < packets.size(); ++i)
    EXPECT_GE(packets[i].at - packets[i - 1].at, milliseconds(150)) << i << ", a share is 200";
  EXPECT_THAT(intervals(table), Each(Le(milliseconds(1000))));
}

// --- New content ------------------------------------------------------------------------------------------------

TEST_F(PacedTableTest, NewContentLeavesAtOnceAndWaitsForNobody) {
  waitForOthers(milliseconds(20));
  run(milliseconds(33));
  const PacedContent& table = add(1000);
  run(milliseconds(1));
  EXPECT_THAT(arrivals(table), ElementsAre(milliseconds(33)));
}

TEST_F(PacedTableTest, SoDoesEachOfManyWithin25MillisecondsWhereThereIsRoom) {
  waitForOthers(milliseconds(20));
  for (unsigned short pid = 1; pid <= 50; ++pid) add(stream(pid), 1000);
  run(milliseconds(25));
  EXPECT_THAT(sent, SizeIs(50));
}

TEST_F(PacedTableTest, TheFirstSectionOfANewVersionIsTheFirstOfTheTable) {
  PacedContent& table = add(1000, {1, 1, 1, 1});
  run(milliseconds(3000));
  for (int i = 0; i < 20; ++i) {
    run(milliseconds(257));
    replace(table, *streams.front());
    const std::size_t before = sent.size();
    const nanoseconds since = passed;
    run(kGap);
    ASSERT_GT(sent.size(), before) << i;
    EXPECT_EQ(sent[before].version, table.version);
    EXPECT_LE(sent[before].at - since, kGap);
    if (sent[before].section == 0) continue;
    const auto oldest = arrivals(table, sent[before].section);
    ASSERT_GE(oldest.size(), 2U);
    EXPECT_GE(since + 2 * kGap, oldest.end()[-2] + milliseconds(915)) << "it is to leave by then anyway";
  }
}

TEST_F(PacedTableTest, SectionsOfANewVersionAreDueAPeriodBehindThoseOfTheSameNumber) {
  PacedContent& table = add(120, {1, 1});
  for (int i = 0; i < 300; ++i) {
    run(milliseconds(101 + i % 97));
    replace(table, *streams.front());
  }
  for (const int section : {0, 1}) {
    EXPECT_THAT(intervals(table, section), SizeIs(Ge(300U)));
    EXPECT_THAT(intervals(table, section), Each(Le(milliseconds(120)))) << section;
  }
}

TEST_F(PacedTableTest, FurtherSectionsFollowWithinAPeriod) {
  PacedContent& table = add(500, {1, 1});
  run(milliseconds(777));
  table.layout.packets = {1, 1, 1, 1, 1, 1};
  replace(table, *streams.front());
  const nanoseconds since = passed;
  run(milliseconds(1500));
  for (int section = 0; section < 6; ++section) {
    const auto times = arrivals(table, section);
    const auto first = std::find_if(times.begin(), times.end(), [&](nanoseconds at) { return at > since; });
    ASSERT_NE(first, times.end());
    EXPECT_LE(*first, since + milliseconds(500)) << section;
    EXPECT_THAT(intervals(table, section), Each(Le(milliseconds(500)))) << section;
  }
}

TEST_F(PacedTableTest, SectionsThatAreNoMoreDoNotCome) {
  PacedContent& table = add(300, {1, 1, 1});
  run(milliseconds(1000));
  table.layout.packets = {1};
  replace(table, *streams.front());
  run(milliseconds(1000));
  const auto others = those([](const SentPacket& packet) { return packet.version == 'b' && packet.section != 0; });
  EXPECT_THAT(others, IsEmpty());
  EXPECT_THAT(intervals(table), Each(Le(milliseconds(300))));
}

TEST_F(PacedTableTest, NewContentBegins25MillisecondsAfterThatOfItsKindAtTheLatest) {
  PacedContent& table = add(1000);
  run(milliseconds(1));
  replace(table, *streams.front());
  run(milliseconds(100));
  EXPECT_THAT(arrivals(table), ElementsAre(milliseconds(0), kGap));
}

TEST_F(PacedTableTest, AKeyThatChangesTakesTheTableToTheDistancesOfTheOther) {
  PacedContent& table = add(1000);
  run(milliseconds(1));
  table.layout.key.extension = 99;
  replace(table, *streams.front());
  run(milliseconds(2));
  EXPECT_THAT(arrivals(table), ElementsAre(milliseconds(0), milliseconds(1)));
}

TEST_F(PacedTableTest, WithoutPacketsATableIsOffAir) {
  PacedContent& table = add(100);
  run(milliseconds(10));
  table.layout.packets.clear();
  pace.put(table, *streams.front(), now());
  run(seconds(1));
  EXPECT_THAT(sent, SizeIs(1));
  EXPECT_EQ(pace.required(), 0);
  pace.remove(table);  // and taking it off once more is nothing
  EXPECT_EQ(pace.required(), 0);
}

// --- Another period ---------------------------------------------------------------------------------------------

TEST_F(PacedTableTest, AShorterPeriodCountsFromTheLastArrival) {
  PacedContent& table = add(10000);
  run(milliseconds(500));
  table.layout.period = 1000;
  pace.changePeriod(table, now());
  run(milliseconds(500));
  EXPECT_THAT(intervals(table), ElementsAre(AllOf(Ge(milliseconds(900)), Le(milliseconds(1000)))));
}

TEST_F(PacedTableTest, WhatIsLateByAShorterPeriodLeavesAtOnce) {
  PacedContent& table = add(10000);
  run(milliseconds(3000));
  table.layout.period = 1000;
  pace.changePeriod(table, now());
  run(milliseconds(1));
  EXPECT_THAT(arrivals(table), ElementsAre(milliseconds(0), milliseconds(3000)));
}

TEST_F(PacedTableTest, ALongerPeriodCountsFromTheLastArrivalToo) {
  PacedContent& table = add(1000);
  run(milliseconds(500));
  table.layout.period = 10000;
  pace.changePeriod(table, now());
  run(milliseconds(9500));
  EXPECT_THAT(arrivals(table), ElementsAre(milliseconds(0), milliseconds(9150)));
}

TEST_F(PacedTableTest, APeriodThatChangesWhileASectionIsUnderWayHoldsBehindIt) {
  PacedContent& table = add(10000, {6});
  run(milliseconds(2));
  table.layout.period = 100;
  pace.changePeriod(table, now());
  run(milliseconds(500));
  EXPECT_THAT(arrivals(table), SizeIs(Ge(5U)));
  EXPECT_THAT(intervals(table), Each(Le(milliseconds(100))));
  expectWhole(sent);
}

TEST_F(PacedTableTest, ThePeriodOfATableOffAirIsReadWhenItIsPutThere) {
  PacedContent& table = this->table(1000);
  pace.changePeriod(table, now());
  EXPECT_EQ(pace.nextDeparture(), time_point::max());
}

// --- Queues -----------------------------------------------------------------------------------------------------

TEST_F(PacedTableTest, WhatIsQueuedLeavesOnceInItsOrder) {
  addQueue(nanoseconds::zero(), {1, 3, 2});
  run(seconds(1));
  ASSERT_THAT(sent, SizeIs(6));
  expectWhole(sent);
  EXPECT_EQ(sent[0].size, 1);
  EXPECT_EQ(sent[1].size, 3);
  EXPECT_EQ(sent[4].size, 2);
  EXPECT_LE(sent[5].at, milliseconds(10)) << "without a pace, as soon as the PID can";
}

TEST_F(PacedTableTest, AnEmptyQueueGoesOnWithWhatComesLater) {
  PacedContent& queue = addQueue(nanoseconds::zero(), {1});
  run(seconds(1));
  queue.queue = {2};
  pace.put(queue, *streams.front(), now());
  run(milliseconds(1));
  EXPECT_THAT(sent, SizeIs(3));
  EXPECT_EQ(sent.back().at, seconds(1));
}

TEST_F(PacedTableTest, AQueueWithoutAPaceDoesNotWaitForOthers) {
  waitForOthers(milliseconds(20));
  run(milliseconds(7));
  addQueue(nanoseconds::zero(), {1});
  run(milliseconds(30));
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(sent.front().at, milliseconds(7));
}

TEST_F(PacedTableTest, AQueueKeepsItsPaceFromPacketToPacket) {
  addQueue(milliseconds(20), std::deque<std::uint32_t>(50, 1));
  run(seconds(2));
  ASSERT_THAT(sent, SizeIs(50));
  for (int i = 0; i < 50; ++i) EXPECT_EQ(sent[i].at, i * milliseconds(20)) << i;
}

TEST_F(PacedTableTest, SectionsOfAQueueTakeTheTimeOfTheirPackets) {
  addQueue(milliseconds(20), {3, 1, 2, 1});
  run(seconds(1));
  std::vector<nanoseconds> begun;
  for (const SentPacket& packet : sent)
    if (packet.begins()) begun.push_back(packet.at);
  EXPECT_THAT(begun, ElementsAre(milliseconds(0), milliseconds(60), milliseconds(80), milliseconds(120)));
}

TEST_F(PacedTableTest, WhatIsAddedToAQueueDoesNotHastenIt) {
  PacedContent& queue = addQueue(milliseconds(20), {1, 1, 1});
  for (int i = 0; i < 5; ++i) {
    run(milliseconds(3));
    queue.queue.push_back(1);
    pace.put(queue, *streams.front(), now());
  }
  run(seconds(1));
  ASSERT_THAT(sent, SizeIs(8));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(sent[i].at, i * milliseconds(20)) << i;
}

TEST_F(PacedTableTest, NorDoesWhatIsAddedWhileASectionIsUnderWay) {
  PacedContent& queue = addQueue(milliseconds(20), {6, 1});
  run(milliseconds(2));
  queue.queue.push_back(1);
  pace.put(queue, *streams.front(), now());
  run(seconds(1));
  ASSERT_THAT(sent, SizeIs(8));
  EXPECT_EQ(sent[6].at, milliseconds(120));
  EXPECT_EQ(sent[7].at, milliseconds(140));
}

TEST_F(PacedTableTest, AQueueHasNoPeriodToBeStretchedAndIsNotCounted) {
  addQueue(milliseconds(1), std::deque<std::uint32_t>(100, 1));
  EXPECT_EQ(pace.required(), 0);
  EXPECT_EQ(pace.stretch(), 1);
  EXPECT_THAT(pace.needs(), IsEmpty());
}

// --- Tables that tell the second --------------------------------------------------------------------------------

TEST_F(OnTheSecond, ATimeLeavesInTheFirstTenthOfASecondAndWithinItsPeriod) {
  utc.offset = milliseconds(345);
  const PacedContent& time = addTime(1000);
  run(seconds(60));
  EXPECT_EQ(sent.front().at, milliseconds(1000 - 345 + 12));
  EXPECT_THAT(sent, SizeIs(Ge(60U)));
  EXPECT_THAT(places(), Each(AllOf(Ge(milliseconds(12)), Le(milliseconds(100)))));
  EXPECT_THAT(intervals(time), Each(Le(milliseconds(1000))));
}

TEST_F(OnTheSecond, InItsFirstTenthItIsNotWaitedForTheNext) {
  utc.offset = milliseconds(50);
  addTime(1000);
  run(milliseconds(1));
  EXPECT_THAT(sent, SizeIs(1));
}

TEST_F(OnTheSecond, WithALongPeriodItLeavesInTheLastSecondThatIsInTime) {
  const PacedContent& time = addTime(2500);
  run(seconds(60));
  EXPECT_THAT(places(), Each(AllOf(Ge(milliseconds(12)), Le(milliseconds(100)))));
  EXPECT_THAT(intervals(time), Each(AllOf(Ge(milliseconds(1900)), Le(milliseconds(2500)))));
}

TEST_F(OnTheSecond, BelowASecondOnlyThePeriodCounts) {
  utc.offset = milliseconds(345);
  const PacedContent& time = addTime(400);
  run(seconds(10));
  EXPECT_EQ(sent.front().at, nanoseconds::zero());
  EXPECT_THAT(intervals(time), SizeIs(Ge(25U)));
  EXPECT_THAT(intervals(time), Each(milliseconds(394)));
}

TEST_F(OnTheSecond, WhenTheClockIsSetWhatWasAboutToLeaveWaitsForTheNextSecond) {
  const PacedContent& time = addTime(1000);
  run(milliseconds(900));
  sent.clear();
  utc.offset = milliseconds(500);
  run(seconds(5));
  EXPECT_THAT(places(), Each(AllOf(Ge(milliseconds(12)), Le(milliseconds(100)))));
  EXPECT_THAT(intervals(time), SizeIs(Ge(3U)));
}

TEST_F(OnTheSecond, ANewPeriodCountsForATimeToo) {
  PacedContent& time = addTime(10000);
  run(milliseconds(2500));
  time.layout.period = 1000;
  pace.changePeriod(time, now());
  run(seconds(3));
  EXPECT_THAT(places(), Each(AllOf(Ge(milliseconds(12)), Le(milliseconds(100)))));
  EXPECT_THAT(arrivals(time), SizeIs(Ge(4U)));
}
