#include "servicemux/time/TimeTables.h"

#include <deque>
#include <thread>

#include "servicemux/streams/SectionQueue.h"
#include "tests/servicemux/await.h"
#include "tests/servicemux/doubles/FailingSections.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/UtcClock.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/registries/RegistryTest.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::SectionQueue;
using vantor::TimeTables;

constexpr unsigned short kTimePid = 0x14;
constexpr long long kUtc = 0xC0791234'56;  // 1993-10-13 12:34:56, EN 300 468 annex C, a minute and 11 seconds on
constexpr milliseconds kPeriod{1000};

dvbpsi_local_time_offset_s makeOffset() {
  dvbpsi_local_time_offset_s offset{};
  std::copy_n("DEU", 3, offset.i_country_code);
  offset.i_country_region_id = 0;
  offset.i_local_time_offset_polarity = 0;
  offset.i_local_time_offset = 0x0100;
  offset.i_time_of_change = 0xC07F010000;
  offset.i_next_time_offset = 0x0200;
  return offset;
}

using Offsets = std::vector<dvbpsi_local_time_offset_s>;

std::uint32_t crcOver(const std::string& section) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : section) {
    crc ^= std::uint32_t{static_cast<unsigned char>(byte)} << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000) != 0 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
  }
  return crc;
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

/// The section that begins in a packet and is behind its end stuffed with 0xFF.
std::string sectionIn(const std::string& packets) {
  const std::string::size_type size = 3U + ((byteAt(packets, 6) & 0x0FU) << 8 | byteAt(packets, 7));
  std::string payload = packets.substr(5, vantor::kPacketSize - 5);
  for (std::size_t at = vantor::kPacketSize; at < packets.size(); at += vantor::kPacketSize)
    payload += packets.substr(at + 4, vantor::kPacketSize - 4);
  EXPECT_EQ(payload.find_first_not_of('\xFF', size), std::string::npos);
  return payload.substr(0, size);
}

class TimeTablesTest : public RegistryTest {
 protected:
  TimeTablesTest() {
    auto owned = std::make_unique<SectionQueue>(output.muxer, kTimePid, 0);
    queue = owned.get();
    times = std::make_unique<TimeTables>(&output, std::move(owned));
    utc.time = kUtc;
  }

  /// All packets that are queued.
  std::vector<std::string> take() {
    std::vector<std::string> packets;
    auto next = time_point::max();
    std::string packet(vantor::kPacketSize, '\0');
    while (queue->get_packet(reinterpret_cast<signed char*>(packet.data()), time_point::max(), next) != 0)
      packets.push_back(packet);
    return packets;
  }

  std::vector<vantor::TableOnAir> onAirNow() {
    std::vector<vantor::TableOnAir> tables;
    times->listOnAir(tables);
    return tables;
  }

  UtcClock utc;
  SectionQueue* queue;
  std::unique_ptr<TimeTables> times;
};

/// With the updater's loop on the thread of the test, in simulated time.
class TimeUpdaterTest : public TimeTablesTest {
 protected:
  using Action = std::function<void()>;

  /// Runs one period for each action, which is done while the updater waits; behind the last it is stopped.
  void run(std::deque<Action> actions) {
    time.beforeEachWait([&] {
      actions.front()();
      actions.pop_front();
      if (actions.empty()) times->stopUpdating();
    });
    times->timeUpdateFct();
  }

  /// The packets of one period with these offsets.
  std::vector<std::string> packetsWith(const Offsets& offsets) {
    times->setLocalTimeOffsetTable(offsets);
    std::vector<std::string> packets;
    run({[&] { packets = take(); }});
    return packets;
  }

  SimulatedTime time;
};

}  // namespace

TEST_F(TimeUpdaterTest, NothingIsSentUntilTablesAreSet) {
  run({[&] { EXPECT_THAT(take(), IsEmpty()); }});
  EXPECT_FALSE(queue->is_linked());
  EXPECT_EQ(utc.reads, 1);
}

TEST_F(TimeUpdaterTest, TdtIsThisPacket) {
  const auto packets = packetsWith({});
  ASSERT_THAT(packets, SizeIs(1));
  EXPECT_EQ(packets[0].substr(0, 13),
            bytes({0x47, 0x40, 0x14, 0x10, 0x00, 0x70, 0x70, 0x05, 0xC0, 0x79, 0x12, 0x34, 0x56}));
  EXPECT_EQ(packets[0].substr(13), std::string(175, '\xFF')) << "a TDT has no CRC";
  EXPECT_EQ(queue->getBitrate(), 1505U);
}

TEST_F(TimeUpdaterTest, TotFollowsTheTdtWithAnOffsetAndACrc) {
  const auto packets = packetsWith({makeOffset()});
  ASSERT_THAT(packets, SizeIs(2));
  EXPECT_EQ(byteAt(packets[0], 5), 0x70);
  EXPECT_EQ(packets[1].substr(0, 5), bytes({0x47, 0x40, 0x14, 0x11, 0x00}));
  const std::string tot = sectionIn(packets[1]);
  EXPECT_EQ(tot.substr(0, tot.size() - 4),
            bytes({0x73, 0x70, 0x1A, 0xC0, 0x79, 0x12, 0x34, 0x56, 0xF0, 0x0F, 0x58, 0x0D,  //
                   'D',  'E',  'U',  0x02, 0x01, 0x00, 0xC0, 0x7F, 0x01, 0x00, 0x00, 0x02, 0x00}));
  EXPECT_EQ(crcOver(tot), 0U);
  EXPECT_EQ(queue->getBitrate(), 3009U);
}

TEST_F(TimeUpdaterTest, EveryFieldOfAnOffsetArrives) {
  auto offset = makeOffset();
  offset.i_country_region_id = 0x2A;
  offset.i_local_time_offset_polarity = 1;
  offset.i_local_time_offset = 0x1234;
  offset.i_time_of_change = 0xFEDCBA9876;
  offset.i_next_time_offset = 0x5678;
  const auto packets = packetsWith({makeOffset(), offset});
  ASSERT_THAT(packets, SizeIs(2));
  const std::string tot = sectionIn(packets[1]);
  EXPECT_EQ(tot.substr(10, 2), bytes({0x58, 26}));
  EXPECT_EQ(tot.substr(25, 13), bytes({'D', 'E', 'U', 0xAB, 0x12, 0x34, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x56, 0x78}));
}

TEST_F(TimeUpdaterTest, TimeIsWrittenAnewEachPeriod) {
  times->setLocalTimeOffsetTable({makeOffset()});
  const auto expectTime = [&](long long time) {
    const auto packets = take();
    ASSERT_THAT(packets, SizeIs(2));
    for (const auto& packet : packets) {
      EXPECT_EQ(byteAt(packet, 12), time & 0xFF);
      EXPECT_EQ(byteAt(packet, 8), time >> 32);
    }
    EXPECT_EQ(crcOver(sectionIn(packets[1])), 0U);
    utc.time = time + 0x01'00000001;
  };
  run({[&] { expectTime(kUtc); }, [&] { expectTime(kUtc + 0x01'00000001); },
       [&] { expectTime(kUtc + 0x02'00000002); }});
}

TEST_F(TimeUpdaterTest, TimeThatStandsStillIsNotSentAgain) {
  times->setLocalTimeOffsetTable({});
  run({[&] { EXPECT_THAT(take(), SizeIs(1)); }, [&] { EXPECT_THAT(take(), IsEmpty()); },
       [&] {
         EXPECT_THAT(take(), IsEmpty());
         utc.time = kUtc - 1;
       },
       [&] { EXPECT_THAT(take(), SizeIs(1)) << "a clock that was set back is another time too"; }});
}

TEST_F(TimeUpdaterTest, WithTheTimingOfTheStandardsItIs) {
  output.muxer->setTimingProfile(vantor::TimingProfile::Standards);
  output.insertionPeriods().timeUpdater = 500;  // so that it does not wait for a second's beginning
  times->setLocalTimeOffsetTable({});
  const auto expectOne = [&] { EXPECT_THAT(take(), SizeIs(1)); };
  run({expectOne, expectOne, expectOne});
}

TEST_F(TimeUpdaterTest, TablesSetWhileTheTimeStandsStillWaitForTheNext) {
  run({[&] { times->setLocalTimeOffsetTable({}); },
       [&] {
         EXPECT_THAT(take(), IsEmpty());
         utc.time = kUtc + 1;
       },
       [&] { EXPECT_THAT(take(), SizeIs(1)); }});
}

TEST_F(TimeUpdaterTest, UnsetSystemTimeIsNotRead) {
  times->setLocalTimeOffsetTable({});
  utc.systemTimeSet = 1;
  run({[&] {
         EXPECT_EQ(utc.reads, 0);
         EXPECT_THAT(take(), IsEmpty());
         utc.systemTimeSet = -1;
       },
       [&] {
         EXPECT_EQ(utc.reads, 0);
         utc.systemTimeSet = 0;
       },
       [&] { EXPECT_THAT(take(), SizeIs(1)); }});
}

TEST_F(TimeUpdaterTest, PeriodsFollowEachOtherHoweverLongAnUpdateTakes) {
  std::vector<nanoseconds> reads;
  utc.onRead = [&] {
    reads.push_back(SimulatedTime::now() - time.start());
    if (reads.size() == 2) SimulatedTime::pass(milliseconds(300));
  };
  run(std::deque<Action>(5, [] {}));
  ASSERT_THAT(reads, SizeIs(5));
  for (std::size_t i = 0; i < reads.size(); ++i) EXPECT_EQ(reads[i], i * kPeriod) << i;
}

TEST_F(TimeUpdaterTest, WakeUpBeforeItsTimeDoesNotShortenThePeriod) {
  std::vector<nanoseconds> reads;
  utc.onRead = [&] { reads.push_back(SimulatedTime::now() - time.start()); };
  time.at(milliseconds(400), [&] { time.wakeSpuriously(); });
  time.at(milliseconds(700), [&] { time.wakeSpuriously(); });
  run({[] {}, [] {}, [] {}, [] {}});
  EXPECT_THAT(reads, ElementsAre(nanoseconds(0), kPeriod));
}

TEST_F(TimeUpdaterTest, RateFillsThePeriodOfTheOutput) {
  output.periods = ownPeriods();
  output.periods.timeUpdater = 300;
  EXPECT_THAT(packetsWith({}), SizeIs(1));
  EXPECT_EQ(queue->getBitrate(), 5014U);
  EXPECT_EQ(SimulatedTime::now() - time.start(), milliseconds(300)) << "which is also the time to the next";
}

TEST_F(TimeUpdaterTest, NewPeriodCountsFromTheLastUpdate) {
  std::vector<nanoseconds> reads;
  utc.onRead = [&] { reads.push_back(SimulatedTime::now() - time.start()); };
  time.at(milliseconds(400), [&] { times->setPeriod(600); });
  time.at(milliseconds(700), [&] { times->setPeriod(2000); });
  time.at(milliseconds(2000), [&] { times->setPeriod(100); });
  run(std::deque<Action>(6, [] {}));
  EXPECT_EQ(output.periods.timeUpdater, 100U);
  ASSERT_GE(reads.size(), 3U);
  EXPECT_EQ(reads[0], nanoseconds(0));
  EXPECT_EQ(reads[1], milliseconds(600));
  EXPECT_EQ(reads[2], milliseconds(2000)) << "at once when it has passed already";
}

TEST_F(TimeUpdaterTest, StopComesBeforeTheFirstUpdate) {
  times->setLocalTimeOffsetTable({});
  times->stopUpdating();
  times->timeUpdateFct();
  EXPECT_EQ(utc.reads, 0);
}

TEST_F(TimeUpdaterTest, EmptyListTakesTheTotOffAir) {
  times->setLocalTimeOffsetTable({makeOffset()});
  run({[&] {
         EXPECT_THAT(take(), SizeIs(2));
         times->setLocalTimeOffsetTable({});
         ++utc.time;
       },
       [&] { EXPECT_THAT(take(), SizeIs(1)); }});
}

TEST_F(TimeUpdaterTest, ClearStopsBothAndDropsWhatIsQueued) {
  times->setLocalTimeOffsetTable({makeOffset()});
  run({[&] {
         EXPECT_TRUE(queue->is_linked());
         times->clearLocalTimeOffsetTable();
         EXPECT_FALSE(queue->is_linked());
         EXPECT_THAT(take(), IsEmpty());
         ++utc.time;
       },
       [&] {
         EXPECT_THAT(take(), IsEmpty());
         times->setLocalTimeOffsetTable({});
         ++utc.time;
       },
       [&] { EXPECT_THAT(take(), SizeIs(1)); }});
}

TEST_F(TimeUpdaterTest, UpdateInTheMidstOfAClearLeavesNothingBehind) {
  times->setLocalTimeOffsetTable({});
  bool ran = false;
  {
    // When the clear has unlinked and emptied the queue, the updater comes in before the tables are gone.
    int locks = 0;
    const LockHook hook([&](const void*) {
      if (++locks != 3) return;
      run({[&] { ran = queue->is_linked(); }});
    });
    times->clearLocalTimeOffsetTable();
  }
  EXPECT_TRUE(ran);
  EXPECT_FALSE(queue->is_linked());
  EXPECT_THAT(take(), IsEmpty());
}

TEST_F(TimeUpdaterTest, NineteenOffsetsAreOneDescriptor) {
  const auto packets = packetsWith(Offsets(19, makeOffset()));
  ASSERT_THAT(packets, SizeIs(3));
  EXPECT_EQ(queue->getBitrate(), 4513U);
  const std::string tot = sectionIn(packets[1] + packets[2]);
  EXPECT_EQ(tot.substr(8, 4), bytes({0xF0, 0xF9, 0x58, 0xF7}));
  EXPECT_THAT(tot, SizeIs(10 + 249 + 4));
  EXPECT_EQ(crcOver(tot), 0U);
}

TEST_F(TimeUpdaterTest, MoreThan19OffsetsAreRefusedAndNothingChanges) {
  times->setLocalTimeOffsetTable({makeOffset()});
  times->setLocalTimeOffsetTable(Offsets(20, makeOffset()));
  EXPECT_THAT(takeLines(log),
              ElementsAre("3 [out] 20 local time offsets are more than the 19 that a descriptor holds"));
  times->setLocalTimeOffsetTable(Offsets(256, makeOffset()));
  EXPECT_THAT(takeLines(log),
              ElementsAre("3 [out] 256 local time offsets are more than the 19 that a descriptor holds"));
  run({[&] {
    const auto packets = take();
    ASSERT_THAT(packets, SizeIs(2));
    EXPECT_EQ(byteAt(packets[1], 16), 13) << "the length of the descriptor that was on air";
  }});
}

TEST_F(TimeUpdaterTest, TablesThatCannotBeMadeAreNotSent) {
  times->setLocalTimeOffsetTable({makeOffset()});
  {
    const FailingSections failing;
    times->setLocalTimeOffsetTable({makeOffset()});
  }
  run({[&] { EXPECT_THAT(take(), IsEmpty()); }});
}

TEST_F(TimeUpdaterTest, TellsWhatIsOnAir) {
  EXPECT_THAT(onAirNow(), IsEmpty());
  times->setLocalTimeOffsetTable(Offsets(19, makeOffset()));
  run({[&] {
    EXPECT_THAT(take(), SizeIs(3));
    const auto tables = onAirNow();
    ASSERT_THAT(tables, SizeIs(2));
    EXPECT_EQ(tables[0].name, "TDT");
    EXPECT_EQ(tables[0].pid, 0x14);
    EXPECT_EQ(tables[0].version, -1);
    EXPECT_EQ(tables[0].period, 1000U);
    EXPECT_EQ(tables[0].packets, 1U);
    EXPECT_EQ(tables[0].repetitions, 1U);
    EXPECT_EQ(tables[1].name, "TOT");
    EXPECT_EQ(tables[1].packets, 2U);
  }});
}

TEST_F(TimeUpdaterTest, GoesOnWithoutItsQueue) {
  times->setLocalTimeOffsetTable({makeOffset()});
  run({[&] {
         times->dropQueue();
         ++utc.time;
       },
       [&] { EXPECT_EQ(utc.reads, 2); }});
}

TEST_F(TimeTablesTest, StopIsHeardByAnUpdaterThatSleeps) {
  const WatchedThread updater([this] {
    const EndlessWaits noDeadline;
    times->timeUpdateFct();
  });
  WatchedThread::awaitSleep();
  times->stopUpdating();
}

TEST_F(TimeTablesTest, StopIsHeardByAnUpdaterAboutToSleep) {
  std::atomic<const void*> timeMutex{nullptr};
  std::atomic<bool> inTheWindow{false};
  std::atomic<bool> stopping{false};
  std::thread updater([&] {
    const EndlessWaits noDeadline;
    const LockHook hook([&](const void* mutex) {
      if (timeMutex == nullptr) {
        timeMutex.store(mutex);
      } else if (!inTheWindow) {  // between its look at the stop flag and its wait
        inTheWindow.store(true);
        await(stopping);
      }
    });
    times->timeUpdateFct();
  });
  await(inTheWindow);
  {
    const LockHook hook([&](const void* mutex) {
      if (mutex == timeMutex) stopping.store(true);
    });
    times->stopUpdating();
    stopping.store(true);
  }
  updater.join();
}

TEST_F(TimeTablesTest, QueueIsNotTakenFromUnderAnUpdate) {
  std::atomic<bool> updating{false};
  std::atomic<bool> dropping{false};
  utc.onRead = [&] {
    updating.store(true);
    await(dropping);
  };
  times->setLocalTimeOffsetTable({});
  std::thread updater([&] { times->timeUpdateFct(); });
  await(updating);
  const void* first = nullptr;
  {
    const LockHook hook([&](const void* mutex) {
      if (first == nullptr) first = mutex;
      dropping.store(true);
    });
    times->dropQueue();
  }
  const void* timeMutex = nullptr;
  {
    const LockHook hook([&](const void* mutex) {
      if (timeMutex == nullptr) timeMutex = mutex;
    });
    times->stopUpdating();
  }
  updater.join();
  EXPECT_EQ(first, timeMutex) << "before anything else";
}

TEST_F(TimeTablesTest, TablesComeAndGoUnderTraffic) {
  output.periods.timeUpdater = 1;
  utc.onRead = [this] { ++utc.time; };
  std::thread producer([this] { output.muxer->muxerRun(); });
  std::thread consumer([this] { output.muxer->consumerRun(); });
  for (int round = 0; round < 30; ++round) {
    TimeTables tables(&output, std::make_unique<SectionQueue>(output.muxer, kTimePid, 0));
    std::thread updater([&] { tables.timeUpdateFct(); });
    for (int i = 0; i < 20; ++i) {
      tables.setLocalTimeOffsetTable(Offsets(static_cast<std::size_t>(i % 20), makeOffset()));
      std::vector<vantor::TableOnAir> lines;
      tables.listOnAir(lines);
      EXPECT_THAT(lines, SizeIs(i % 20 == 0 ? 1 : 2));
      if (i % 7 == 0) tables.clearLocalTimeOffsetTable();
      std::this_thread::yield();
    }
    tables.setLocalTimeOffsetTable({makeOffset()});
    const auto packets = output.muxer->statistics().packets;
    while (output.muxer->statistics().packets < packets + 2) std::this_thread::yield();
    tables.dropQueue();
    tables.stopUpdating();
    updater.join();
  }
  output.muxer->muxerStop();
  consumer.join();
  producer.join();
  for (const auto& packet : output.sender.packets()) ASSERT_EQ(pidOf(packet), kTimePid);
}
