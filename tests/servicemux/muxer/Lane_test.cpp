#include "servicemux/muxer/Lane.h"

#include <gmock/gmock.h>

#include "servicemux/muxer/standardsLimits.h"
#include "tests/servicemux/muxer/PacedOutput.h"

/// What the sections and packets of one PID have to do with one another.

namespace {

using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using vantor::standards::kGap;

class LaneTest : public PacedOutput {
 protected:
  /// From the end of each section to the beginning of the next one of those that are looked at.
  static std::vector<nanoseconds> distances(const std::vector<SentPacket>& packets) {
    std::vector<nanoseconds> found;
    for (std::size_t i = 1; i < packets.size(); ++i)
      if (packets[i].begins()) found.push_back(packets[i].at - packets[i - 1].at);
    return found;
  }

  /// How long each three packets took.
  static std::vector<nanoseconds> spans(const std::vector<SentPacket>& packets) {
    std::vector<nanoseconds> found;
    for (std::size_t i = 2; i < packets.size(); ++i) found.push_back(packets[i].at - packets[i - 2].at);
    return found;
  }
};

}  // namespace

// --- The distance -----------------------------------------------------------------------------------------------

TEST_F(LaneTest, SectionsOfOneTableKeepTheirDistanceWhateverTheirNumber) {
  add(300, {1, 3, 1, 1, 2, 1, 1, 1});
  run(seconds(3));
  EXPECT_THAT(sent, SizeIs(Ge(100U)));
  EXPECT_THAT(distances(sent), Each(Ge(kGap)));
}

TEST_F(LaneTest, TheDistanceCountsFromWhenTheDatagramHasLeft) {
  sending = milliseconds(1);
  add(100, {1, 1, 1, 1, 1, 1, 1, 1});  // more than there is time for
  run(seconds(3));
  EXPECT_THAT(sent, SizeIs(Ge(100U)));
  EXPECT_THAT(distances(sent), Each(Ge(kGap + milliseconds(1))));
}

TEST_F(LaneTest, TablesOfOnePidTableIdAndExtensionKeepTheDistanceFromOneAnother) {
  PacedContent& a = add(200);
  PacedContent& b = table(210);
  b.layout.key.extension = a.layout.key.extension;
  b.layout.key.transport_stream_id = 7;
  pace.put(b, stream(), now());
  run(seconds(20));
  EXPECT_THAT(arrivals(a), SizeIs(Ge(100U)));
  EXPECT_THAT(arrivals(b), SizeIs(Ge(95U)));
  EXPECT_THAT(distances(sent), Each(Ge(kGap)));
}

TEST_F(LaneTest, OtherExtensionsTableIdsAndPidsNeedNoDistance) {
  PacedContent& a = add(200);
  PacedContent& extension = table(200);
  PacedContent& tableId = table(200);
  PacedContent& pid = table(200);
  extension.layout.key.extension = 99;
  tableId.layout.key.table_id = 0x4E;
  tableId.layout.key.extension = pid.layout.key.extension = a.layout.key.extension;
  pace.put(extension, stream(), now());
  pace.put(tableId, stream(), now());
  pace.put(pid, stream(kPid + 1), now());
  run(milliseconds(10));
  for (const PacedContent* const table : {&a, &extension, &tableId, &pid})
    EXPECT_THAT(arrivals(*table), SizeIs(1)) << table->table;
}

TEST_F(LaneTest, PacketsWithoutSectionsNeedNoDistance) {
  PacedContent& packets = table(10);
  packets.layout.hasSections = false;
  pace.put(packets, stream(), now());
  run(seconds(1));
  EXPECT_THAT(sent, SizeIs(AllOf(Ge(99U), Le(102U))));
  pace.setDatagrams(milliseconds(5), 7, now());
  run(seconds(1));
  EXPECT_THAT(sent, SizeIs(AllOf(Ge(195U), Le(203U)))) << "on average, however long they wait for others";
}

TEST_F(LaneTest, ClearedAndPutAgainATableKeepsTheDistance) {
  PacedContent& table = add(200);
  run(milliseconds(400));
  const nanoseconds last = sent.back().at;
  passed = last + milliseconds(1);
  pace.remove(table);
  replace(table, *streams.front());
  run(milliseconds(100));
  const auto again = those([](const SentPacket& packet) { return packet.version == 'b'; });
  ASSERT_THAT(again, SizeIs(1));
  EXPECT_EQ(again.front().at, last + kGap);
}

TEST_F(LaneTest, AnotherTableInThePlaceOfAClearedOneKeepsTheDistance) {
  PacedContent& gone = add(200);
  run(milliseconds(1));
  pace.remove(gone);
  for (int i = 0; i < 300; ++i) pace.remove(add(200));  // so many that what is not needed is forgotten
  PacedContent& table = this->table(200);
  table.layout.key = gone.layout.key;
  pace.put(table, *streams.front(), now());
  run(milliseconds(100));
  ASSERT_THAT(arrivals(table), SizeIs(Ge(1U)));
  EXPECT_EQ(arrivals(table).front(), kGap);
}

TEST_F(LaneTest, ASectionThatIsStillUnderWayCountsToo) {
  PacedContent& gone = add(1000, {10});
  run(milliseconds(2));
  pace.remove(gone);
  for (int i = 0; i < 300; ++i) pace.remove(add(200));
  PacedContent& table = this->table(200);
  table.layout.key = gone.layout.key;
  pace.put(table, *streams.front(), now());
  run(milliseconds(100));
  ASSERT_THAT(of(gone), SizeIs(10));
  ASSERT_THAT(of(table), SizeIs(Ge(1U)));
  EXPECT_GE(of(table).front().at, of(gone).back().at + kGap);
}

TEST_F(LaneTest, WhatSomebodyElseHasSentBeforeCountsAsJustSent) {
  pace.clear(now());
  add(200);
  run(milliseconds(100));
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(sent.front().at, kGap);
}

TEST_F(LaneTest, ASectionThatWaitsForItsDistanceLetsOthersGoFirst) {
  PacedContent& table = add(200);
  run(milliseconds(5));
  replace(table, *streams.front());
  PacedContent& other = add(*streams.front(), 200);
  run(milliseconds(10));
  EXPECT_THAT(arrivals(other), SizeIs(1));
  EXPECT_THAT(arrivals(table), SizeIs(1));
  run(milliseconds(15));
  EXPECT_THAT(arrivals(table), SizeIs(2));
}

// --- A section under way ----------------------------------------------------------------------------------------

TEST_F(LaneTest, ASectionUnderWayIsFinishedWhenItsTableIsReplaced) {
  PacedContent& table = add(1000, {6, 6});
  run(milliseconds(2));
  ASSERT_THAT(sent, SizeIs(2));
  table.layout.packets = {3};
  replace(table, *streams.front());
  run(milliseconds(100));
  ASSERT_THAT(sent, SizeIs(9));
  expectWhole(sent);
  expectUnbroken(sent);
  EXPECT_EQ(sent[5].version, 'a');
  EXPECT_EQ(sent[5].size, 6);
  EXPECT_EQ(sent[6].version, 'b');
  EXPECT_EQ(sent[6].at, sent[5].at + kGap);
}

TEST_F(LaneTest, ASectionUnderWayIsFinishedWhenItsTableIsGone) {
  PacedStream& stream = this->stream();
  PacedContent& table = add(stream, 1000, {6});
  run(milliseconds(2));
  ASSERT_THAT(sent, SizeIs(2));
  pace.remove(table);
  EXPECT_EQ(stream.GetLastCC(), 5) << "the rest of the section is still to come";
  tables.clear();
  streams.clear();
  run(seconds(5));
  ASSERT_THAT(sent, SizeIs(6));
  expectWhole(sent);
  expectUnbroken(sent);
  EXPECT_EQ(pace.nextDeparture(), time_point::max());
}

TEST_F(LaneTest, AnotherTableOfThePidWaitsForTheSectionUnderWay) {
  PacedStream& stream = this->stream();
  add(stream, 1000, {10});
  run(milliseconds(2));
  add(stream, 1000, {2});
  run(milliseconds(100));
  ASSERT_THAT(sent, SizeIs(12));
  expectWhole(sent);
  expectUnbroken(sent);
  EXPECT_THAT(spans(sent), Each(Ge(microseconds(3100))));
  EXPECT_LE(sent[10].at - sent[9].at, microseconds(3100)) << "and for nothing else";
}

TEST_F(LaneTest, AReplacedSectionThatIsUnderWayDoesNotCountAsOneOfTheNewVersion) {
  PacedContent& table = add(200, {8});
  run(milliseconds(2));
  replace(table, *streams.front());
  run(milliseconds(300));
  const auto first = those([](const SentPacket& packet) { return packet.version == 'b' && packet.ends(); });
  ASSERT_FALSE(first.empty());
  EXPECT_LE(first.front().at, milliseconds(60));
}

TEST_F(LaneTest, ATableWhoseContentIsJustBeingExchangedIsAskedAgain) {
  PacedContent& table = add(200);
  streams.front()->isRefusing = true;
  run(milliseconds(10));
  EXPECT_THAT(sent, IsEmpty());
  streams.front()->isRefusing = false;
  run(milliseconds(30));
  EXPECT_THAT(arrivals(table), SizeIs(1));
}

// --- The counter ------------------------------------------------------------------------------------------------

TEST_F(LaneTest, APidHasOneCounterWhateverStreamsShareIt) {
  PacedStream& a = stream();
  PacedStream& b = stream();
  add(a, 100, {3});
  add(b, 110, {2});
  add(a, 120, {1});
  add(kPid + 1);
  run(seconds(5));
  EXPECT_THAT(on(kPid), SizeIs(Ge(250U)));
  expectUnbroken(on(kPid));
  expectWhole(on(kPid));
}

TEST_F(LaneTest, TheCounterGoesOnFromThatOfTheStreamAndIsTheStreamsAgain) {
  PacedStream& stream = this->stream(kPid, 9);
  add(stream, 100);
  run(milliseconds(250));
  ASSERT_THAT(sent, SizeIs(3));
  EXPECT_EQ(sent[0].counter, 10);
  EXPECT_EQ(sent[2].counter, 12);
  EXPECT_EQ(stream.GetLastCC(), 12);
}

TEST_F(LaneTest, TheCounterOfALaterStreamDoesNotMatter) {
  add(100);
  run(milliseconds(10));
  add(stream(kPid, 9), 100);
  run(milliseconds(50));
  ASSERT_THAT(sent, SizeIs(2));
  expectUnbroken(sent);
}

TEST_F(LaneTest, WhatSomebodyElseHasCountedMeanwhileIsTakenOver) {
  PacedStream& stream = this->stream();
  PacedContent& table = add(stream, 100);
  run(milliseconds(10));
  pace.clear(now());
  stream.continueFrom(3);
  pace.put(table, stream, now());
  run(milliseconds(50));
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(sent[1].counter, 4);
}

TEST_F(LaneTest, PacketsWithoutPayloadDoNotCount) {
  PacedStream& stream = this->stream(kPid, 4);
  PacedContent& adaptation = table(100, {3});
  adaptation.hasPayload = false;
  pace.put(adaptation, stream, now());
  run(milliseconds(50));
  add(stream, 100);
  run(milliseconds(20));
  ASSERT_THAT(sent, SizeIs(4));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(sent[i].counter, 4) << i;
  EXPECT_EQ(sent[3].counter, 5);
}

TEST_F(LaneTest, TheFirstPacketOfAPidKeepsItsOwnCounter) {
  add(100, {2});
  run(milliseconds(10));
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(sent[0].counter, 0);
  EXPECT_EQ(sent[1].counter, 1);
}

// --- The pace of its packets ------------------------------------------------------------------------------------

TEST_F(LaneTest, TwoPacketsMayLeaveTogetherAndNoThreeWithinThreeMilliseconds) {
  add(1000, {12});
  run(seconds(5));
  EXPECT_THAT(sent, SizeIs(Ge(60U)));
  EXPECT_EQ(sent[1].at, sent[0].at);
  EXPECT_THAT(spans(sent), Each(Ge(microseconds(3100))));
}

TEST_F(LaneTest, NorDoTheyWhereSeveralTablesPress) {
  PacedStream& stream = this->stream();
  for (int i = 0; i < 20; ++i) add(stream, 500, {1});
  run(seconds(10));
  EXPECT_THAT(sent, SizeIs(Ge(400U)));
  EXPECT_THAT(spans(sent), Each(Ge(microseconds(3100))));
}

TEST_F(LaneTest, APidThatIsAskedForMoreThanOneMegabitASecondIsFastEnough) {
  PacedStream& stream = this->stream();
  for (int i = 0; i < 8; ++i) add(stream, 200, {20});  // 1.2 Mbit/s
  run(seconds(1));
  sent.clear();
  run(seconds(20));
  for (const auto& table : tables) {
    EXPECT_THAT(intervals(*table), SizeIs(Ge(95U)));
    EXPECT_THAT(intervals(*table), Each(Le(milliseconds(200)))) << table->table;
  }
  expectWhole(sent);
}

TEST_F(LaneTest, AFastPidIsNoFasterThanItsHasteAboveWhatItIsAskedFor) {
  PacedStream& stream = this->stream();
  for (int i = 0; i < 8; ++i) add(stream, 200, {20});
  run(seconds(2));
  const nanoseconds interval(1000000000 / 1280);  // 800 packets a second, and six tenths more
  for (std::size_t i = 100; i < sent.size(); ++i)
    ASSERT_GE(sent[i].at - sent[i - 100].at, interval * (100 - 8)) << "packet " << i;
}

TEST_F(LaneTest, SectionsAreSpreadOverTheTimeTheyHave) {
  PacedStream& stream = this->stream();
  for (int i = 0; i < 10; ++i) add(stream, 1000);
  run(seconds(100));
  const std::size_t before = sent.size();
  run(seconds(3));
  ASSERT_GE(sent.size(), before + 30);
  nanoseconds longest{0};
  for (std::size_t i = before + 1; i < sent.size(); ++i) longest = std::max(longest, sent[i].at - sent[i - 1].at);
  EXPECT_LE(longest, milliseconds(500)) << "they were put on air all at once";
}

TEST_F(LaneTest, AShortPeriodIsKeptBesideALongSection) {
  PacedStream& stream = this->stream();
  PacedContent& longOne = add(stream, 5000, {22});  // 34 ms
  PacedContent& shortOne = add(stream, 100);
  run(seconds(60));
  EXPECT_THAT(intervals(shortOne), SizeIs(Ge(600U)));
  EXPECT_THAT(intervals(shortOne), Each(Le(milliseconds(100))));
  EXPECT_THAT(intervals(longOne), SizeIs(Ge(11U)));
  EXPECT_THAT(intervals(longOne), Each(Le(seconds(5))));
}

TEST_F(LaneTest, ShortPeriodsAreKeptBesideManyLongOnesThatCameTogether) {
  PacedStream& stream = this->stream();
  std::vector<PacedContent*> shortOnes;
  for (int i = 0; i < 10; ++i) shortOnes.push_back(&add(stream, 2000, {12}));
  for (int i = 0; i < 200; ++i)
    add(stream, 30000, {12});  // 3.7 s of the PID, and hurried 1.8 s before they are late
  run(seconds(10));
  sent.clear();
  run(seconds(100));
  for (const PacedContent* const table : shortOnes) {
    EXPECT_THAT(intervals(*table), SizeIs(Ge(48U)));
    EXPECT_THAT(intervals(*table), Each(Le(seconds(2))));
  }
}
