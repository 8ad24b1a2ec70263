#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/interface/RecordedLog.h"
#include "tests/servicemux/doubles/SimulatedThreads.h"
#include "tests/servicemux/muxer/MuxerThreads.h"
#include "tests/servicemux/muxer/tablePackets.h"
#include "tests/servicemux/standards/simulatedTime.h"

/// The muxer with the timing of the standards, with its threads and in simulated time.

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using vantor::SimpleTable;
using vantor::TableCarrousel;
using vantor::TimingProfile;
using vantor::VBRmuxer;

struct Packet {
  std::int64_t at;
  std::string bytes;
};

/// Keeps packets and their times. Takes a few of the datagrams that it gets at once, or none.
class TimedSink final : public vantor::DatagramSink {
 public:
  explicit TimedSink(const SimulatedThreads& simulation) : simulation(simulation) {}

  ssize_t send(const void* datagram, std::size_t size) override {
    ++calls;
    if (isFailing) {
      errno = ENOBUFS;
      return -1;
    }
    keep(datagram, size);
    return static_cast<ssize_t>(size);
  }

  std::size_t sendAll(const Datagram* first, const Datagram* last) override {
    const auto taken = std::min(static_cast<std::size_t>(last - first), atOnce);
    longestBatch = std::max(longestBatch, static_cast<std::size_t>(last - first));
    for (std::size_t i = 0; i < taken; ++i) keep(first[i].bytes, first[i].size);
    return taken;
  }

  std::size_t atOnce = 0;
  std::size_t longestBatch = 0;
  std::size_t calls = 0;
  bool isFailing = false;
  std::size_t datagrams = 0;
  std::vector<Packet> packets;

 private:
  void keep(const void* datagram, std::size_t size) {
    ++datagrams;
    const auto* const bytes = static_cast<const char*>(datagram);
    for (std::size_t offset = 0; offset < size; offset += vantor::kPacketSize)
      packets.push_back({simulation.now(), std::string(bytes + offset, vantor::kPacketSize)});
  }

  const SimulatedThreads& simulation;
};

class StandardsMuxer : public testing::Test {
 protected:
  void sleep(std::int64_t time) { simulation.sleepUntil(simulation.now() + time); }

  SimpleTable& add(unsigned short pid, unsigned int period, const std::vector<int>& sections) {
    tables.push_back(std::make_unique<SimpleTable>(muxer, pid, period));
    std::string packets = makeTable(pid, 0x02, 1, sections);
    tables.back()->new_packetized_table(packets);
    return *tables.back();
  }

  std::vector<Packet> on(unsigned short pid) const {
    std::vector<Packet> found;
    std::copy_if(sink.packets.begin(), sink.packets.end(), std::back_inserter(found),
                 [=](const Packet& packet) { return pidOf(packet.bytes) == pid; });
    return found;
  }

  void expectUnbrokenCounters() const {
    std::map<unsigned short, int> last;
    for (const Packet& packet : sink.packets) {
      const auto [known, isFirst] = last.try_emplace(pidOf(packet.bytes), counterOf(packet.bytes));
      if (isFirst) continue;
      ASSERT_EQ(counterOf(packet.bytes), (known->second + 1) % 16) << "PID " << known->first << " at " << packet.at;
      known->second = counterOf(packet.bytes);
    }
  }

  RecordedLog log;
  SimulatedThreads simulation;
  TimedSink sink{simulation};
  const std::shared_ptr<VBRmuxer> muxer = std::make_shared<VBRmuxer>(sink, 1000, 7);
  std::vector<std::unique_ptr<SimpleTable>> tables;
  const MuxerThreads threads{(muxer->setTimingProfile(TimingProfile::Standards), *muxer)};
};

}  // namespace

TEST_F(StandardsMuxer, CountersGoOnWhenTheProfileChanges) {
  add(0x100, 100, {4, 5});
  add(0x101, 90, {1});
  for (const TimingProfile profile : {TimingProfile::Classic, TimingProfile::Standards, TimingProfile::Classic}) {
    sleep(kSecond + 7 * kMillisecond);
    muxer->setTimingProfile(profile);
  }
  sleep(kSecond);
  EXPECT_THAT(on(0x100), SizeIs(Ge(4 * 9 * 9U)));
  EXPECT_THAT(on(0x101), SizeIs(Ge(4 * 10U)));
  expectUnbrokenCounters();
}

TEST_F(StandardsMuxer, ToClassicTheSectionUnderWayIsFinished) {
  add(0x100, 1000, {20});
  sleep(30 * kMillisecond);  // the distance to what may have been sent before comes first
  ASSERT_THAT(sink.packets, SizeIs(AllOf(Ge(1U), Le(19U))));
  muxer->setTimingProfile(TimingProfile::Classic);
  sleep(3 * kSecond);
  ASSERT_THAT(sink.packets, SizeIs(Ge(40U)));
  for (std::size_t i = 0; i < sink.packets.size(); ++i)
    ASSERT_EQ(byteAt(sink.packets[i].bytes, 187), i % 20) << "and Classic begins with the first packet";
}

TEST_F(StandardsMuxer, ToClassicNoOtherSectionBeginsMeanwhile) {
  add(0x100, 1000, {20});
  add(0x101, 60, {5});
  sleep(35 * kMillisecond);
  ASSERT_THAT(on(0x100), SizeIs(AllOf(Ge(1U), Le(10U))));
  ASSERT_THAT(on(0x101), SizeIs(5)) << "none of it is under way";
  add(0x102, 1000, {1});
  const std::size_t rest = 20 - on(0x100).size();
  sink.packets.clear();
  muxer->setTimingProfile(TimingProfile::Classic);
  sleep(kSecond);
  ASSERT_THAT(sink.packets, SizeIs(Ge(rest)));
  for (std::size_t i = 0; i < rest; ++i) EXPECT_EQ(pidOf(sink.packets[i].bytes), 0x100) << i;
}

TEST_F(StandardsMuxer, ToClassicWhatWasDueMeanwhileIsDueOnce) {
  add(0x100, 100, {1});
  TableCarrousel carrousel(muxer, 0x101, 16);
  std::string packets = makeTable(0x101, 0x02, 1, {1});
  ASSERT_NE(carrousel.new_packetized_subtable(packets, 100, 1), nullptr);
  sleep(5 * kSecond);
  muxer->setTimingProfile(TimingProfile::Classic);
  sink.packets.clear();
  sleep(kSecond);
  EXPECT_THAT(on(0x100), SizeIs(AllOf(Ge(9U), Le(12U))));
  EXPECT_THAT(on(0x101), SizeIs(AllOf(Ge(9U), Le(12U))));
}

TEST_F(StandardsMuxer, ToStandardsWhatClassicHoldsLeavesFirst) {
  muxer->setTimingProfile(TimingProfile::Classic);
  sleep(kMillisecond);
  add(0x100, 120, {12});  // a packet each 10 ms, so that one waits for others
  sleep(55 * kMillisecond);
  muxer->setTimingProfile(TimingProfile::Standards);
  sleep(kSecond);
  const auto packets = on(0x100);
  ASSERT_THAT(packets, SizeIs(Ge(12U * 8)));
  int begun = 0;
  while (byteAt(packets[begun].bytes, 187) == begun) ++begun;
  EXPECT_EQ(begun, 6) << "at 0, 10 to 50 ms";
  for (std::size_t i = 0; i + begun < packets.size(); ++i)
    ASSERT_EQ(byteAt(packets[i + begun].bytes, 187), i % 12) << i;
  expectUnbrokenCounters();
}

TEST_F(StandardsMuxer, ToStandardsWhatClassicHasSentCountsForTheCeiling) {
  muxer->setTimingProfile(TimingProfile::Classic);
  for (unsigned short pid = 0x100; pid < 0x13C; ++pid) add(pid, 100, {1});  // 0.9 of the ceiling
  sleep(5 * kSecond);
  sink.packets.clear();
  sleep(2 * kSecond);
  muxer->setTimingProfile(TimingProfile::Standards);
  sleep(2 * kSecond);
  EXPECT_THAT(sink.packets, SizeIs(Ge(2300U)));
  for (std::size_t i = 664; i < sink.packets.size(); ++i)
    ASSERT_GE(sink.packets[i].at - sink.packets[i - 664].at, kSecond) << sink.packets[i].at;
}

TEST_F(StandardsMuxer, TellsWhatAllNeedsAndHowMuchItIsStretched) {
  EXPECT_EQ(muxer->statistics().required, 0);
  EXPECT_EQ(muxer->statistics().stretch, 1);
  sleep(kMillisecond);
  add(0x100, 100, {5, 5});
  EXPECT_NEAR(muxer->statistics().required, 150.4, 0.1);
  EXPECT_EQ(muxer->statistics().stretch, 1);
  EXPECT_THAT(muxer->needs(), SizeIs(1));
  muxer->SetBitrate(100);
  sleep(kMillisecond);
  EXPECT_NEAR(muxer->statistics().stretch, 150.4 / 96, 0.001);
  tables.front()->clear_packetized_table();
  EXPECT_EQ(muxer->statistics().required, 0);
  EXPECT_EQ(muxer->statistics().stretch, 1);
  add(0x101, 100, {10});
  muxer->setTimingProfile(TimingProfile::Classic);
  sleep(kSecond);
  EXPECT_EQ(muxer->statistics().required, 0);
  EXPECT_EQ(muxer->statistics().stretch, 1);
  EXPECT_THAT(muxer->needs(), IsEmpty());
}

TEST_F(StandardsMuxer, ANewBitrateWakesTheProducerAndHoldsFromTheNextDatagramOn) {
  add(0x100, 1000, {20, 20, 10});
  sleep(500 * kMillisecond);
  muxer->SetBitrate(50);
  sleep(kMillisecond);
  EXPECT_NEAR(muxer->statistics().stretch, 75.2 / 48, 0.001) << "nothing would leave before 900 ms are over";
}

TEST_F(StandardsMuxer, NullPacketsFollowTheBitrate) {
  add(0x1FFF, 0, {1});
  sleep(2 * kSecond);
  const std::size_t before = sink.packets.size();
  EXPECT_THAT(before, AllOf(Ge(1270U), Le(1300U)));
  muxer->SetBitrate(2000);
  sleep(2 * kSecond);
  EXPECT_THAT(sink.packets.size() - before, AllOf(Ge(2560U), Le(2660U)));
}

TEST_F(StandardsMuxer, PacketsWaitForOthersAsLongAsIsSet) {
  muxer->setDatagramWait(3);
  sleep(kMillisecond);
  add(0x100, 1000, {1});
  sleep(950 * kMillisecond);
  ASSERT_THAT(sink.packets, SizeIs(2));
  EXPECT_EQ(sink.packets[1].at - sink.packets[0].at, 918 * kMillisecond);
  muxer->setDatagramWait(0);
  sleep(2 * kSecond);
  ASSERT_THAT(sink.packets, SizeIs(Ge(4U)));
  EXPECT_EQ(sink.packets[3].at - sink.packets[2].at, 915 * kMillisecond);
}

TEST_F(StandardsMuxer, TwentyMillisecondsUnlessItIsSet) {
  add(0x100, 10000, {1});
  sleep(10 * kSecond);
  ASSERT_THAT(sink.packets, SizeIs(2));
  EXPECT_EQ(sink.packets[1].at - sink.packets[0].at, 9170 * kMillisecond);
}

// --- Periods ----------------------------------------------------------------------------------------------------

TEST_F(StandardsMuxer, AQueueIsThroughALittleBeforeItsRateAsksForIt) {
  vantor::SectionQueue messages(muxer, 0x300, 150400);  // a packet in 10 ms
  messages.queue_section(makeTable(0x300, 0x82, 1, std::vector<int>(101, 1)), 0);
  sleep(2 * kSecond);
  const auto sent = on(0x300);
  ASSERT_THAT(sent, SizeIs(101));
  EXPECT_THAT(sent.back().at - sent.front().at, AllOf(Ge(940 * kMillisecond), Le(975 * kMillisecond)));
}

TEST_F(StandardsMuxer, OfAQueueWithoutARateEachItemKeepsTheDistanceToTheOneBefore) {
  vantor::SectionQueue times(muxer, 0x14, 0);
  const std::string item = makeTable(0x14, 0x70, 0, {1}) + makeTable(0x14, 0x73, 0, {1});
  for (int i = 0; i < 3; ++i) times.queue_section(item, 0);
  sleep(kSecond);
  times.queue_section(item, 0);
  sleep(10 * kMillisecond);
  times.queue_section(item, 0);
  sleep(kSecond);
  const auto sent = on(0x14);
  ASSERT_THAT(sent, SizeIs(10));
  for (std::size_t i = 2; i < sent.size(); i += 2) {
    EXPECT_GE(sent[i].at - sent[i - 1].at, 25 * kMillisecond) << i;
    EXPECT_LT(sent[i + 1].at - sent[i].at, 10 * kMillisecond) << i;
  }
}

TEST_F(StandardsMuxer, ANewPeriodOfATableHoldsAtOnce) {
  SimpleTable& table = add(0x100, 10000, {1});
  sleep(2 * kSecond);
  table.SetPeriod(100);
  sleep(kSecond);
  EXPECT_THAT(sink.packets, SizeIs(AllOf(Ge(11U), Le(13U))));
  table.SetPeriod(10000);
  sleep(9 * kSecond);
  EXPECT_THAT(sink.packets, SizeIs(Le(13U)));
}

TEST_F(StandardsMuxer, ANewPeriodOfOneInACarrouselHoldsAtOnceToo) {
  TableCarrousel carrousel(muxer, 0x100, 16);
  std::string packets = makeTable(0x100, 0x02, 1, {1});
  std::string others = makeTable(0x100, 0x02, 2, {1});
  vantor::SubTable* const table = carrousel.new_packetized_subtable(packets, 10000, 1);
  ASSERT_NE(carrousel.new_packetized_subtable(others, 60000, 1), nullptr);
  sleep(2 * kSecond);
  ASSERT_EQ(carrousel.SetPeriod(table, 100), 0);
  EXPECT_NEAR(muxer->statistics().required, 1504 / 100.0 + 1504 / 60000.0, 0.01);
  sleep(kSecond);
  EXPECT_THAT(sink.packets, SizeIs(AllOf(Ge(12U), Le(14U))));
  ASSERT_EQ(carrousel.SetPeriod(table, 10000), 0);
  sleep(9 * kSecond);
  EXPECT_THAT(sink.packets, SizeIs(Le(14U)));
}

// --- Coming and going -------------------------------------------------------------------------------------------

TEST_F(StandardsMuxer, WhatIsLinkedReplacedAndClearedIsTakenAtOnce) {
  sleep(300 * kMillisecond);
  SimpleTable& table = add(0x100, 10000, {1});
  sleep(kMillisecond);
  EXPECT_THAT(sink.packets, SizeIs(1)) << "the producer is woken";
  sleep(100 * kMillisecond);
  std::string packets = makeTable(0x100, 0x02, 1, {2});
  table.new_packetized_table(packets);
  sleep(kMillisecond);
  EXPECT_THAT(sink.packets, SizeIs(3));
  table.clear_packetized_table();
  sleep(20 * kSecond);
  EXPECT_THAT(sink.packets, SizeIs(3));
  EXPECT_THAT(muxer->needs(), IsEmpty());
}

TEST_F(StandardsMuxer, AReplacedSubtableWakesTheProducerToo) {
  TableCarrousel carrousel(muxer, 0x100, 16);
  std::string packets = makeTable(0x100, 0x02, 1, {1});
  vantor::SubTable* const table = carrousel.new_packetized_subtable(packets, 10000, 1);
  sleep(kSecond + 100 * kMillisecond);
  packets = makeTable(0x100, 0x02, 1, {2});
  carrousel.replace_packetized_subtable(table, packets, 1);
  sleep(kMillisecond);
  EXPECT_THAT(sink.packets, SizeIs(3));
}

TEST_F(StandardsMuxer, AStreamCanLeaveAndComeBack) {
  SimpleTable& table = add(0x100, 100, {1});
  sleep(kSecond);
  table.unlinkFromMuxer();
  sink.packets.clear();
  sleep(kSecond);
  EXPECT_THAT(sink.packets, IsEmpty());
  EXPECT_THAT(muxer->needs(), IsEmpty());
  table.linkToMuxer();
  sleep(kSecond);
  EXPECT_THAT(sink.packets, SizeIs(AllOf(Ge(10U), Le(12U))));
}

TEST_F(StandardsMuxer, ASubtableThatIsClearedSendsTheRestOfItsSectionAndNothingElse) {
  TableCarrousel carrousel(muxer, 0x100, 16);
  std::string packets = makeTable(0x100, 0x02, 1, {6, 6});
  vantor::SubTable* const table = carrousel.new_packetized_subtable(packets, 200, 2);
  sleep(27 * kMillisecond);  // behind the distance to what may have been sent before
  ASSERT_THAT(sink.packets, SizeIs(2));
  carrousel.clear_packetized_subtable(table);
  sleep(kSecond);
  EXPECT_THAT(sink.packets, SizeIs(6));
  expectUnbrokenCounters();
}

TEST_F(StandardsMuxer, StreamsThatWereThereInClassicAreAllOnAir) {
  muxer->setTimingProfile(TimingProfile::Classic);
  sleep(kMillisecond);
  SimpleTable& table = add(0x100, 100, {1});
  TableCarrousel carrousel(muxer, 0x101, 16);
  std::string a = makeTable(0x101, 0x02, 1, {1});
  std::string b = makeTable(0x101, 0x02, 2, {1});
  ASSERT_NE(carrousel.new_packetized_subtable(a, 100, 1), nullptr);
  ASSERT_NE(carrousel.new_packetized_subtable(b, 100, 1), nullptr);
  table.linkToMuxer();
  muxer->setTimingProfile(TimingProfile::Standards);
  sleep(kMillisecond);
  EXPECT_THAT(muxer->needs(), SizeIs(3));
}

// --- Sending ----------------------------------------------------------------------------------------------------

class Batches : public StandardsMuxer, public testing::WithParamInterface<std::size_t> {};

TEST_P(Batches, LeaveWholeInTheirOrderHoweverManyTheSinkTakesAtOnce) {
  sink.atOnce = GetParam();
  muxer->SetBitrate(100000);
  add(0x1FFF, 0, {1});
  sleep(kSecond);
  EXPECT_THAT(sink.packets, SizeIs(Ge(65000U)));
  EXPECT_THAT(sink.longestBatch, AllOf(Ge(15U), Le(20U))) << "2 ms";
  expectUnbrokenCounters();
  const auto statistics = muxer->statistics();
  EXPECT_EQ(statistics.packets, sink.packets.size());
  EXPECT_EQ(statistics.datagrams, sink.datagrams);
  EXPECT_EQ(statistics.bytesSent, sink.packets.size() * vantor::kPacketSize);
  EXPECT_EQ(statistics.sendErrors, 0U);
}

INSTANTIATE_TEST_SUITE_P(OfThem, Batches, testing::Values(0, 1, 3, 100));

TEST_F(StandardsMuxer, ALostDatagramIsCountedAndNotRepeated) {
  sink.isFailing = true;
  add(0x100, 100, {1});
  sleep(kSecond);
  EXPECT_THAT(sink.calls, AllOf(Ge(10U), Le(12U)));
  EXPECT_EQ(muxer->statistics().sendErrors, sink.calls);
  EXPECT_EQ(muxer->statistics().datagrams, 0U);
  log.take();
}
