#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/interface/RecordedLog.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/Watchdog.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/muxer/ScriptedStream.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::VBRmuxer;

constexpr nanoseconds kDefaultInterval(1468750);  // 1504 bits at 1024 kbit/s

/// Runs a muxer's producer in simulated time, on the test's own thread and without a consumer.
class Schedule : public testing::Test {
 protected:
  /// Makes a stream; it is linked when its scenario links it.
  std::unique_ptr<ScriptedStream> makeStream(nanoseconds due, nanoseconds interval,
                                             std::size_t packets = ScriptedStream::kEndless) {
    return std::make_unique<ScriptedStream>(muxer, 1, time.start() + due, interval, packets);
  }

  void runUntil(nanoseconds end) {
    time.at(end, [this] { muxer->muxerStop(); });
    muxer->muxerRun();
  }

  std::vector<nanoseconds> sinceStart(const std::vector<time_point>& times) const {
    std::vector<nanoseconds> result;
    for (const time_point at : times) result.push_back(at - time.start());
    return result;
  }

  RecordedLog log;
  Watchdog watchdog;
  SimulatedTime time;
  Sender sender;
  std::shared_ptr<VBRmuxer> muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
};

}  // namespace

TEST_F(Schedule, SlotClockAdvancesByOnePacketIntervalPerPacket) {
  const auto stream = makeStream({}, {}, 4);
  stream->linkToMuxer();
  runUntil(milliseconds(6));
  EXPECT_THAT(sinceStart(stream->given),
              ElementsAre(nanoseconds(0), kDefaultInterval, 2 * kDefaultInterval, 3 * kDefaultInterval));
}

TEST_F(Schedule, LatePacketsLeaveNoFasterThanTheCeiling) {
  const auto stream = makeStream(-seconds(1), milliseconds(10), 50);
  stream->linkToMuxer();
  runUntil(milliseconds(100));
  ASSERT_THAT(stream->given, SizeIs(50));
  EXPECT_EQ(stream->given.back() - stream->given.front(), 49 * kDefaultInterval);
}

struct Ceiling {
  unsigned int kbps;
  long long interval;  // ns
};

class BitrateSchedule : public Schedule, public testing::WithParamInterface<Ceiling> {};

TEST_P(BitrateSchedule, SetsTheDistanceOfSlots) {
  muxer->SetBitrate(GetParam().kbps);
  const auto stream = makeStream({}, {}, 3);
  stream->linkToMuxer();
  runUntil(seconds(4));
  const nanoseconds interval(GetParam().interval);
  EXPECT_THAT(sinceStart(stream->given), ElementsAre(nanoseconds(0), interval, 2 * interval));
}

INSTANTIATE_TEST_SUITE_P(Ceilings, BitrateSchedule,
                         testing::Values(Ceiling{0, 1504000000}, Ceiling{1, 1504000000}, Ceiling{3, 501333333},
                                         Ceiling{1024, 1468750}, Ceiling{99999, 15040}, Ceiling{100000, 15040},
                                         Ceiling{100001, 15040}, Ceiling{200000, 15040},
                                         Ceiling{4294967295U, 15040}));

TEST_F(Schedule, NewBitrateCountsFromTheNextSlot) {
  const auto stream = makeStream({}, {}, 4);
  stream->linkToMuxer();
  stream->onAsked = [&] {
    if (stream->asked.size() == 2) muxer->SetBitrate(1504);
  };
  runUntil(milliseconds(10));
  EXPECT_THAT(sinceStart(stream->given),
              ElementsAre(nanoseconds(0), kDefaultInterval, kDefaultInterval + milliseconds(1),
                          kDefaultInterval + milliseconds(2)));
}

TEST_F(Schedule, StreamsArePolledInLinkOrderOncePerPassOnTheAdvancedClock) {
  std::vector<char> order;
  const auto a = makeStream({}, {}, 3);
  const auto b = makeStream({}, {}, 3);
  const auto c = makeStream({}, {}, 3);
  a->onAsked = [&] { order.push_back('a'); };
  b->onAsked = [&] { order.push_back('b'); };
  c->onAsked = [&] { order.push_back('c'); };
  b->linkToMuxer();
  a->linkToMuxer();
  c->linkToMuxer();
  b->linkToMuxer();  // stays where it is
  runUntil(milliseconds(14));
  EXPECT_EQ(std::string(order.begin(), order.end()).substr(0, 9), "bacbacbac");
  EXPECT_THAT(sinceStart(b->given), ElementsAre(0 * kDefaultInterval, 3 * kDefaultInterval, 6 * kDefaultInterval));
  EXPECT_THAT(sinceStart(a->given), ElementsAre(1 * kDefaultInterval, 4 * kDefaultInterval, 7 * kDefaultInterval));
  EXPECT_THAT(sinceStart(c->given), ElementsAre(2 * kDefaultInterval, 5 * kDefaultInterval, 8 * kDefaultInterval));
}

TEST_F(Schedule, StreamThatIsUnlinkedAndLinkedAgainGoesToTheEnd) {
  std::vector<char> order;
  const auto a = makeStream({}, {}, 1);
  const auto b = makeStream({}, {}, 1);
  a->onAsked = [&] { order.push_back('a'); };
  b->onAsked = [&] { order.push_back('b'); };
  a->linkToMuxer();
  b->linkToMuxer();
  a->unlinkFromMuxer();
  a->linkToMuxer();
  runUntil(milliseconds(1));
  EXPECT_THAT(order, ElementsAre('b', 'a'));
}

TEST_F(Schedule, JumpsToTheEarliestDueTime) {
  const auto early = makeStream(milliseconds(20), milliseconds(300), 2);
  const auto late = makeStream(milliseconds(30), milliseconds(300), 2);
  late->linkToMuxer();
  early->linkToMuxer();
  runUntil(milliseconds(400));
  EXPECT_THAT(sinceStart(early->given), ElementsAre(milliseconds(20), milliseconds(320)));
  EXPECT_THAT(sinceStart(late->given), ElementsAre(milliseconds(30), milliseconds(330)));
  EXPECT_THAT(sinceStart(early->asked),
              ElementsAre(nanoseconds(0), milliseconds(20), milliseconds(30) + kDefaultInterval, milliseconds(320),
                          milliseconds(330) + kDefaultInterval));
}

TEST_F(Schedule, EachStreamSeesTheEarliestDueTimeSoFar) {
  const auto first = makeStream(milliseconds(40), seconds(1));
  const auto second = makeStream(milliseconds(60), seconds(1));
  const auto third = makeStream(milliseconds(60), seconds(1));
  first->linkToMuxer();
  second->linkToMuxer();
  third->linkToMuxer();
  runUntil(milliseconds(1));
  EXPECT_THAT(first->limits, ElementsAre(milliseconds(500)));
  EXPECT_THAT(second->limits, ElementsAre(milliseconds(40)));
  EXPECT_THAT(third->limits, ElementsAre(milliseconds(40)));
}

TEST_F(Schedule, IdleProducerWakesEvery500Milliseconds) {
  const auto stream = makeStream({}, {}, 0);
  stream->linkToMuxer();
  runUntil(milliseconds(1700));
  EXPECT_THAT(sinceStart(stream->asked),
              ElementsAre(nanoseconds(0), milliseconds(500), milliseconds(1000), milliseconds(1500)));
}

TEST_F(Schedule, DueTimeBeyond500MillisecondsIsReachedInSteps) {
  const auto stream = makeStream(milliseconds(1200), seconds(1));
  stream->linkToMuxer();
  runUntil(milliseconds(1500));
  EXPECT_THAT(sinceStart(stream->asked),
              ElementsAre(nanoseconds(0), milliseconds(500), milliseconds(1000), milliseconds(1200)));
}

TEST_F(Schedule, WithoutAStreamNothingIsProducedAndHalfASecondIsSlept) {
  const auto gone = makeStream({}, {});
  gone->linkToMuxer();
  gone->unlinkFromMuxer();
  std::vector<time_point> waits;
  time.beforeEachWait([&] { waits.push_back(SimulatedTime::now()); });
  runUntil(milliseconds(1700));
  EXPECT_EQ(muxer->statistics().packets, 0U);
  EXPECT_EQ(muxer->statistics().ringFullSlots, 0U);
  EXPECT_THAT(sinceStart(waits),
              ElementsAre(nanoseconds(0), milliseconds(500), milliseconds(1000), milliseconds(1500)));
}

TEST_F(Schedule, SpuriousWakeIsNotTheSlotTime) {
  const auto stream = makeStream(milliseconds(100), seconds(1));
  std::vector<time_point> moments;
  stream->onAsked = [&] { moments.push_back(SimulatedTime::now()); };
  stream->linkToMuxer();
  time.at(milliseconds(40), [&] { time.wakeSpuriously(); });
  time.at(milliseconds(70), [&] { time.wakeSpuriously(); });
  runUntil(milliseconds(200));
  EXPECT_THAT(sinceStart(moments), ElementsAre(nanoseconds(0), milliseconds(100)));
}

TEST_F(Schedule, LongestIdleCountsFromTheSlotClockAndNotFromTheMoment) {
  const auto stream = makeStream({}, {}, 0);
  stream->onAsked = [&] {
    if (stream->asked.size() == 1) SimulatedTime::pass(milliseconds(700));  // the producer is held up
  };
  stream->linkToMuxer();
  runUntil(milliseconds(1700));
  EXPECT_THAT(sinceStart(stream->asked),
              ElementsAre(nanoseconds(0), milliseconds(500), milliseconds(1000), milliseconds(1500)));
}

TEST_F(Schedule, SlotsOfAFullRingCountFromTheSlotClockAndNotFromTheMoment) {
  const auto stream = makeStream({}, {});
  stream->onAsked = [&] {
    if (stream->asked.size() == 128) SimulatedTime::pass(10 * kDefaultInterval + nanoseconds(1));
  };
  stream->linkToMuxer();
  runUntil(200 * kDefaultInterval);
  EXPECT_THAT(stream->asked, SizeIs(128));
  EXPECT_EQ(muxer->statistics().ringFullSlots, 72U) << "those that passed meanwhile are made up for";
}

TEST_F(Schedule, LinkingWakesTheProducerAndRestartsItsClock) {
  const auto stream = makeStream(milliseconds(123), seconds(1));
  time.at(milliseconds(123), [&] { stream->linkToMuxer(); });
  runUntil(milliseconds(200));
  EXPECT_THAT(sinceStart(stream->given), ElementsAre(milliseconds(123)));
}

TEST_F(Schedule, LinkingALinkedStreamWakesTheProducerToo) {
  const auto stream = makeStream({}, {}, 0);
  stream->linkToMuxer();
  time.at(milliseconds(123), [&] { stream->linkToMuxer(); });
  time.at(milliseconds(321), [&] { stream->linkToMuxer(); });
  runUntil(milliseconds(400));
  EXPECT_THAT(sinceStart(stream->asked), ElementsAre(nanoseconds(0), milliseconds(123), milliseconds(321)));
}

TEST_F(Schedule, LinkingTakesTheClockBackToTheCurrentTime) {
  // Each of three packets moves the slot clock on by 1.504 s, and time itself does not move meanwhile.
  muxer->SetBitrate(1);
  const auto stream = makeStream({}, {}, 1);
  const auto added = makeStream({}, {}, 1);
  stream->linkToMuxer();
  time.at(milliseconds(100), [&] { added->linkToMuxer(); });
  runUntil(milliseconds(200));
  EXPECT_THAT(sinceStart(stream->given), ElementsAre(nanoseconds(0)));
  EXPECT_THAT(sinceStart(added->given), ElementsAre(milliseconds(100)));
}

TEST_F(Schedule, UnlinkingDoesNotWakeTheProducer) {
  const auto stays = makeStream({}, {}, 0);
  const auto leaves = makeStream({}, {}, 0);
  stays->linkToMuxer();
  leaves->linkToMuxer();
  time.at(milliseconds(123), [&] { leaves->unlinkFromMuxer(); });
  runUntil(milliseconds(700));
  EXPECT_THAT(sinceStart(stays->asked), ElementsAre(nanoseconds(0), milliseconds(500)));
  EXPECT_THAT(sinceStart(leaves->asked), ElementsAre(nanoseconds(0)));
}

TEST_F(Schedule, FullRingSpendsSlotsWithoutPollingAnyStream) {
  const auto stream = makeStream({}, {});
  stream->linkToMuxer();
  runUntil(200 * kDefaultInterval);
  EXPECT_THAT(stream->asked, SizeIs(128));
  EXPECT_EQ(muxer->statistics().packets, 128U);
  EXPECT_EQ(muxer->statistics().ringFullSlots, 72U) << "one each interval";
  EXPECT_EQ(muxer->statistics().packetsOverrun, 0U);
}

// --- Watchdog ---------------------------------------------------------------------------------------------------

TEST_F(Schedule, TellsTheWatchdogThatItLivesOnceMoreThan10SecondsHavePassed) {
  const auto stream = makeStream({}, {}, 0);
  stream->linkToMuxer();
  runUntil(milliseconds(21200));
  EXPECT_EQ(watchdog.registered, 1);
  ASSERT_THAT(watchdog.alive, SizeIs(2));
  for (const auto& alive : watchdog.alive) EXPECT_EQ(alive.handle, 5U);
  EXPECT_EQ(watchdog.alive[0].time - time.start(), milliseconds(10500));
  EXPECT_EQ(watchdog.alive[1].time - time.start(), milliseconds(21000));
  EXPECT_THAT(watchdog.unregistered, ElementsAre(5U));
  EXPECT_THAT(takeLines(log), IsEmpty());
}

TEST_F(Schedule, WatchdogIsServedBySlotClockAndNotByWallClock) {
  // Seven packets of 1.504 s each are produced in one pass, at one moment; the next call is due 10 s behind them.
  muxer->SetBitrate(1);
  std::vector<std::unique_ptr<ScriptedStream>> streams;
  for (int i = 0; i < 7; ++i) {
    streams.push_back(makeStream({}, {}, 1));
    streams.back()->linkToMuxer();
  }
  runUntil(seconds(12));
  ASSERT_THAT(watchdog.alive, SizeIs(1));
  EXPECT_EQ(watchdog.alive[0].time, time.start());
}

TEST_F(Schedule, RunsWithoutAWatchdogThatRefusesIt) {
  watchdog.handle = 0;
  const auto stream = makeStream({}, {}, 1);
  stream->linkToMuxer();
  runUntil(seconds(11));
  EXPECT_THAT(stream->given, SizeIs(1));
  ASSERT_THAT(watchdog.alive, SizeIs(1));
  EXPECT_EQ(watchdog.alive[0].handle, 0U);
  EXPECT_THAT(watchdog.unregistered, ElementsAre(0U));
  EXPECT_THAT(takeLines(log), ElementsAre("3 Couldn't register task for WD"));
}

TEST_F(Schedule, FailureToLeaveTheWatchdogIsLogged) {
  watchdog.unregisterResult = -1;
  runUntil(milliseconds(1));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Couldn't unregister task for WD"));
}

// --- Stop -------------------------------------------------------------------------------------------------------

TEST_F(Schedule, StoppedMuxerProducesNothing) {
  const auto stream = makeStream({}, {});
  stream->linkToMuxer();
  muxer->muxerStop();
  muxer->muxerRun();
  EXPECT_THAT(stream->asked, IsEmpty());
  EXPECT_EQ(watchdog.registered, 1);
  EXPECT_THAT(watchdog.unregistered, ElementsAre(5U));
  muxer->consumerRun();
}

TEST_F(Schedule, StopWakesTheSleepingProducer) {
  runUntil(milliseconds(123));
  EXPECT_EQ(SimulatedTime::now() - time.start(), milliseconds(123));
}
