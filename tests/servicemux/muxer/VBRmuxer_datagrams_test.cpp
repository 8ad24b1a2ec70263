#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <numeric>

#include "tests/interface/RecordedLog.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/muxer/ScriptedStream.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vantor::VBRmuxer;

/// Runs a producer in simulated time and a consumer beside it, which has done what it can before the producer goes
/// on to its next slot.
class Datagrams : public testing::Test {
 protected:
  void makeMuxer(unsigned int packetsPerDatagram) {
    muxer = std::make_shared<VBRmuxer>(sender, 1024, packetsPerDatagram);
  }

  ScriptedStream& add(nanoseconds due, nanoseconds interval, std::size_t packets) {
    streams.push_back(std::make_unique<ScriptedStream>(muxer, 1, time.start() + due, interval, packets));
    streams.back()->linkToMuxer();
    return *streams.back();
  }

  void runUntil(nanoseconds end) {
    time.beforeEachWait([] { WatchedThread::awaitSleep(); });
    time.at(end, [this] { muxer->muxerStop(); });
    const WatchedThread consumer([this] { muxer->consumerRun(); });
    muxer->muxerRun();
  }

  /// Records what has been sent at this time.
  void noteSizesAt(nanoseconds at) {
    time.at(at, [this] { sizes.push_back(sender.sizes()); });
  }

  RecordedLog log;
  Sender sender;
  SimulatedTime time;
  std::shared_ptr<VBRmuxer> muxer;
  std::vector<std::unique_ptr<ScriptedStream>> streams;
  std::vector<std::vector<std::size_t>> sizes;

  void SetUp() override { makeMuxer(7); }
};

}  // namespace

TEST_F(Datagrams, SevenPacketsFillADatagram) {
  add({}, milliseconds(2), 7);
  noteSizesAt(milliseconds(11));
  noteSizesAt(milliseconds(13));
  runUntil(milliseconds(20));
  EXPECT_THAT(sizes, ElementsAre(IsEmpty(), ElementsAre(1316U))) << "sent when full, not before";
}

TEST_F(Datagrams, LonePacketLeavesOnceALongGapIsAnnounced) {
  add({}, milliseconds(100), 3);
  noteSizesAt(milliseconds(1));
  noteSizesAt(milliseconds(101));
  runUntil(milliseconds(150));
  EXPECT_THAT(sizes, ElementsAre(ElementsAre(188U), ElementsAre(188U, 188U)));
}

TEST_F(Datagrams, PacketsDueTogetherTravelTogether) {
  add({}, milliseconds(100), 1);
  add({}, milliseconds(100), 1);
  runUntil(milliseconds(50));
  EXPECT_THAT(sender.sizes(), ElementsAre(376U));
}

TEST_F(Datagrams, GapOf25MillisecondsIsNotAnnounced) {
  // The gap counts from the slot behind the packet.
  const nanoseconds interval = nanoseconds(1468750) + milliseconds(25);
  add({}, interval, 2);
  noteSizesAt(interval - nanoseconds(1));
  runUntil(interval + milliseconds(10));
  EXPECT_THAT(sizes, ElementsAre(IsEmpty()));
  EXPECT_THAT(sender.sizes(), ElementsAre(376U));
}

TEST_F(Datagrams, GapOfMoreThan25MillisecondsIsAnnounced) {
  const nanoseconds interval = nanoseconds(1468750) + milliseconds(25) + nanoseconds(1);
  add({}, interval, 2);
  noteSizesAt(interval - nanoseconds(1));
  runUntil(interval + milliseconds(10));
  EXPECT_THAT(sizes, ElementsAre(ElementsAre(188U)));
  EXPECT_THAT(sender.sizes(), ElementsAre(188U, 188U));
}

TEST_F(Datagrams, PacketsOfStreamsThatAreGoneDoNotStayBehind) {
  auto& stream = add({}, milliseconds(20), ScriptedStream::kEndless);
  time.at(milliseconds(45), [&] { stream.unlinkFromMuxer(); });
  noteSizesAt(milliseconds(59));
  noteSizesAt(milliseconds(100));
  runUntil(milliseconds(101));
  EXPECT_THAT(sizes, ElementsAre(IsEmpty(), ElementsAre(564U))) << "a muxer without streams announces its gap too";
}

TEST_F(Datagrams, FlushSendsAllThatIsPending) {
  for (int i = 0; i < 17; ++i) add({}, {}, 1);
  runUntil(milliseconds(50));
  EXPECT_THAT(sender.sizes(), ElementsAre(1316U, 1316U, 564U));
}

TEST_F(Datagrams, FlushIsUsedUpByTheGapItAnnounced) {
  add({}, milliseconds(100), 2);                // two long gaps
  add(milliseconds(200), milliseconds(20), 4);  // and none after these
  noteSizesAt(milliseconds(255));
  runUntil(milliseconds(256));
  EXPECT_THAT(sizes, ElementsAre(ElementsAre(188U, 188U)));
}

TEST_F(Datagrams, FlushWithExactlyOneDatagramIsUsedUpToo) {
  for (int i = 0; i < 7; ++i) add({}, {}, 1);
  add(milliseconds(100), milliseconds(20), 4);
  noteSizesAt(milliseconds(155));
  runUntil(milliseconds(156));
  EXPECT_THAT(sizes, ElementsAre(ElementsAre(1316U)));
}

TEST_F(Datagrams, IdleMuxerSendsNothing) {
  runUntil(seconds(3));
  EXPECT_THAT(sender.sizes(), IsEmpty());
}

TEST_F(Datagrams, KeepTheOrderOfThePackets) {
  const auto& stream = add({}, {}, 300);
  runUntil(seconds(1));
  const auto packets = sender.packets();
  ASSERT_EQ(packets.size(), stream.given.size());
  for (std::size_t i = 0; i < packets.size(); ++i)
    EXPECT_EQ(packets[i], makePacket(1, i % 16, static_cast<unsigned char>(i))) << i;
}

struct PerDatagram {
  unsigned int asked;
  std::size_t bytes;
};

class DatagramLimits : public Datagrams, public testing::WithParamInterface<PerDatagram> {};

TEST_P(DatagramLimits, AreFrom1To7Packets) {
  makeMuxer(GetParam().asked);
  add({}, milliseconds(2), 20);
  runUntil(milliseconds(36));
  ASSERT_FALSE(sender.sizes().empty());
  EXPECT_THAT(sender.sizes(), testing::Each(GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(Limits, DatagramLimits,
                         testing::Values(PerDatagram{0, 188}, PerDatagram{1, 188}, PerDatagram{3, 564},
                                         PerDatagram{7, 1316}, PerDatagram{8, 1316}, PerDatagram{9, 1316},
                                         PerDatagram{4294967295U, 1316}));

TEST_F(Datagrams, FailedDatagramIsLoggedLostAndNotRepeated) {
  sender.failNext(ENOBUFS);
  add({}, milliseconds(100), 2);
  runUntil(milliseconds(150));
  EXPECT_THAT(takeLines(log),
              ElementsAre("3 Could not write 188 bytes to socket: -1 (105: No buffer space available)"));
  EXPECT_THAT(sender.packets(), ElementsAre(makePacket(1, 0, 0), makePacket(1, 1, 1)));
  EXPECT_EQ(muxer->statistics().sendErrors, 1U);
  EXPECT_EQ(muxer->statistics().datagrams, 1U);
  EXPECT_EQ(muxer->statistics().bytesSent, 188U);
}

TEST_F(Datagrams, WhatTheSinkTellsItselfIsCountedAndNotLogged) {
  sender.failNext(0);
  add({}, milliseconds(100), 2);
  runUntil(milliseconds(150));
  EXPECT_THAT(takeLines(log), testing::IsEmpty());
  EXPECT_EQ(muxer->statistics().sendErrors, 1U);
  EXPECT_EQ(muxer->statistics().datagrams, 1U);
}

TEST_F(Datagrams, InterruptedSendIsNotRepeated) {
  sender.failNext(EINTR);
  sender.failNext(EBADF);
  add({}, milliseconds(100), 3);
  runUntil(milliseconds(250));
  EXPECT_THAT(takeLines(log), ElementsAre("3 Could not write 188 bytes to socket: -1 (4: Interrupted system call)",
                                          "3 Could not write 188 bytes to socket: -1 (9: Bad file descriptor)"));
  EXPECT_EQ(sender.sizes().size(), 3U);
}

TEST_F(Datagrams, ShortSendIsLoggedWithoutAnErrorNumber) {
  sender.shortenNext(100);
  sender.shortenNext(0);
  for (int i = 0; i < 7; ++i) add({}, milliseconds(100), 2);
  runUntil(milliseconds(150));
  EXPECT_THAT(takeLines(log), ElementsAre("3 Could not write 1316 bytes to socket: 100",
                                          "3 Could not write 1316 bytes to socket: 0"));
  EXPECT_THAT(sender.sizes(), ElementsAre(1316U, 1316U));
  EXPECT_EQ(muxer->statistics().sendErrors, 2U);
  EXPECT_EQ(muxer->statistics().bytesSent, 0U);
}

TEST_F(Datagrams, PartialDatagramIsDroppedByAStop) {
  add({}, milliseconds(20), 4);
  runUntil(milliseconds(45));
  EXPECT_EQ(muxer->statistics().packets, 3U);
  EXPECT_THAT(sender.sizes(), IsEmpty());
}

TEST_F(Datagrams, FullRingIsDroppedByAStop) {
  add({}, {}, 100);
  time.at(milliseconds(200), [this] { muxer->muxerStop(); });
  muxer->muxerRun();
  EXPECT_EQ(muxer->statistics().packets, 100U);
  muxer->consumerRun();
  EXPECT_THAT(sender.sizes(), IsEmpty());
}

TEST_F(Datagrams, StatisticsCountPacketsDatagramsAndBytes) {
  for (int i = 0; i < 10; ++i) add({}, milliseconds(100), 2);
  runUntil(milliseconds(150));
  const auto statistics = muxer->statistics();
  EXPECT_EQ(statistics.packets, 20U);
  EXPECT_EQ(statistics.datagrams, 4U);
  EXPECT_EQ(statistics.bytesSent, 20U * 188);
  EXPECT_EQ(statistics.sendErrors, 0U);
  EXPECT_EQ(statistics.ringFullSlots, 0U);
  EXPECT_EQ(statistics.packetsOverrun, 0U);
}
