#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/TouchHook.h"
#include "tests/servicemux/doubles/YieldHook.h"
#include "tests/servicemux/muxer/ScriptedStream.h"

namespace {

using vantor::VBRmuxer;

constexpr std::size_t kRingSize = 128;

/// A muxer whose passes over many streams write more packets than the ring has slots, in simulated time.
class Ring : public testing::Test {
 protected:
  /// Links streams that have this many packets due at a time; packet p of stream s has the PID s and the payload p.
  void addStreams(std::size_t count, std::size_t packetsEach, nanoseconds due = {}) {
    for (std::size_t i = 0; i < count; ++i) {
      streams.push_back(std::make_unique<ScriptedStream>(muxer, static_cast<unsigned short>(i), time.start() + due,
                                                         nanoseconds(0), packetsEach));
      streams.back()->linkToMuxer();
    }
  }

  /// Where a packet of `addStreams` comes when each pass takes one packet of every stream.
  std::size_t indexOf(const std::string& packet) const {
    return byteAt(packet, 4) * streams.size() + pidOf(packet);
  }

  Sender sender;
  SimulatedTime time;
  std::shared_ptr<VBRmuxer> muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  std::vector<std::unique_ptr<ScriptedStream>> streams;
};

}  // namespace

TEST_F(Ring, PassBeyondItsEndGivesUpTheOldestPackets) {
  addStreams(100, 2);
  std::unique_ptr<WatchedThread> consumer;
  time.at(seconds(1), [&] {
    EXPECT_EQ(muxer->statistics().packets, 200U);
    EXPECT_EQ(muxer->statistics().packetsOverrun, 200 - kRingSize);
    consumer = std::make_unique<WatchedThread>([this] { muxer->consumerRun(); });
    time.beforeEachWait([] { WatchedThread::awaitSleep(); });
  });
  time.at(seconds(3), [this] { muxer->muxerStop(); });
  muxer->muxerRun();
  consumer.reset();

  std::vector<std::size_t> sent;
  for (const auto& packet : sender.packets()) sent.push_back(indexOf(packet));
  ASSERT_EQ(sent.size(), 200U);
  for (const std::size_t index : sent) EXPECT_GE(index, 200 - kRingSize) << "an overwritten packet";
  for (std::size_t i = 0; i < 200 - kRingSize; ++i)
    EXPECT_EQ(sent[i], i + kRingSize) << "early, in the slots of those given up";
  for (std::size_t i = 0; i < kRingSize; ++i)
    EXPECT_EQ(sent[sent.size() - kRingSize + i], 200 - kRingSize + i) << "the newest are all there, in order";
}

TEST_F(Ring, StatisticsTellOfAConsumerThatIsHeldUp) {
  // Seven packets one after the other hold the consumer in its first datagram.
  ScriptedStream first(muxer, 0x100, time.start(), milliseconds(2), 7);
  first.linkToMuxer();
  sender.hold();
  addStreams(100, 2, milliseconds(50));
  time.at(milliseconds(900), [this] {
    const auto held = muxer->statistics();
    EXPECT_EQ(held.packets, 207U);
    EXPECT_EQ(held.datagrams, 0U);
    EXPECT_EQ(held.bytesSent, 0U);
    EXPECT_EQ(held.packetsOverrun, 200 - kRingSize);
    EXPECT_GT(held.ringFullSlots, 0U);
    sender.release();
  });
  const std::uint64_t allBytes = 207 * vantor::kPacketSize;
  bool released = false;
  time.at(milliseconds(901), [&] { released = true; });
  time.beforeEachWait([&] {
    if (!released)
      WatchedThread::awaitSleep();
    else if (muxer->statistics().bytesSent >= allBytes)
      muxer->muxerStop();
  });
  const WatchedThread consumer([this] { muxer->consumerRun(); });
  muxer->muxerRun();

  const auto statistics = muxer->statistics();
  EXPECT_EQ(statistics.packets, 207U);
  EXPECT_EQ(statistics.datagrams, 30U) << "1 + 28 full ones and what the flush sends";
  EXPECT_EQ(statistics.bytesSent, allBytes);
  EXPECT_EQ(statistics.packetsOverrun, 200 - kRingSize);
  EXPECT_EQ(statistics.sendErrors, 0U);
}

TEST_F(Ring, OverrunUnderARunningConsumerTearsNoPacketAndCountsEachThatIsLost) {
  constexpr std::size_t kPasses = 256;  // each packet's payload is unlike those of the others of its stream
  addStreams(200, kPasses);
  time.beforeEachWait([this] {
    if (muxer->statistics().packets < streams.size() * kPasses) return;
    WatchedThread::awaitSleep();
    muxer->muxerStop();
  });
  {
    const WatchedThread consumer([this] { muxer->consumerRun(); });
    muxer->muxerRun();
  }
  std::set<std::size_t> sent;
  for (const auto& packet : sender.packets()) {
    ASSERT_LT(pidOf(packet), streams.size());
    ASSERT_EQ(packet, makePacket(pidOf(packet), counterOf(packet), byteAt(packet, 4)));
    sent.insert(indexOf(packet));
  }
  EXPECT_GT(muxer->statistics().packetsOverrun, 0U);
  EXPECT_EQ(sent.size() + muxer->statistics().packetsOverrun, streams.size() * kPasses);
}

TEST_F(Ring, StreamThatWritesNothingCostsAFullRingNoPacket) {
  addStreams(kRingSize, 1);
  ScriptedStream idle(muxer, 0x1000, time.start() + seconds(60), {});
  idle.linkToMuxer();
  std::unique_ptr<WatchedThread> consumer;
  idle.onAsked = [&] {
    if (consumer) return;
    consumer = std::make_unique<WatchedThread>([this] { muxer->consumerRun(); });
    WatchedThread::awaitSleep();  // the consumer empties the ring while the stream is being asked
  };
  time.beforeEachWait([] { WatchedThread::awaitSleep(); });
  time.at(seconds(1), [this] { muxer->muxerStop(); });
  muxer->muxerRun();
  consumer.reset();

  const auto packets = sender.packets();
  ASSERT_EQ(packets.size(), kRingSize);
  for (std::size_t i = 0; i < kRingSize; ++i) EXPECT_EQ(indexOf(packets[i]), i);
  EXPECT_EQ(muxer->statistics().packetsOverrun, 0U);
}

TEST_F(Ring, SlowSocketLosesNoPacketBesideStreamsThatAreNeverDue) {
  constexpr std::size_t kPackets = 7 * 1000;
  muxer->SetBitrate(100000);
  sender.slowDown(std::chrono::microseconds(500));
  ScriptedStream busy(muxer, 0x1000, time.start(), {}, kPackets);
  busy.linkToMuxer();
  for (int i = 0; i < 60; ++i) {
    streams.push_back(
        std::make_unique<ScriptedStream>(muxer, 0x1001, time.start() + seconds(3600), nanoseconds(0)));
    streams.back()->linkToMuxer();
  }
  time.beforeEachWait([&] {
    if (muxer->statistics().packets < kPackets) return;
    WatchedThread::awaitSleep();
    muxer->muxerStop();
  });
  {
    const WatchedThread consumer([this] { muxer->consumerRun(); });
    muxer->muxerRun();
  }
  EXPECT_GT(muxer->statistics().ringFullSlots, 0U);
  EXPECT_EQ(muxer->statistics().packetsOverrun, 0U);
  const auto packets = sender.packets();
  ASSERT_EQ(packets.size(), kPackets);
  for (std::size_t i = 0; i < kPackets; ++i) ASSERT_EQ(counterOf(packets[i]), i % 16) << i;
}

TEST_F(Ring, PacketThatLeftEarlyIsNotLostWhenItIsOverwritten) {
  constexpr std::size_t kPass = kRingSize + 5;
  addStreams(kPass, 2);
  std::unique_ptr<WatchedThread> consumer;
  time.beforeEachWait([&] {
    const auto statistics = muxer->statistics();
    if (statistics.packets == kPass && !consumer) {
      EXPECT_EQ(statistics.packetsOverrun, 5U);
      // The first datagram takes the five packets early that stand in the slots of those lost, and two more.
      sender.hold();
      consumer = std::make_unique<WatchedThread>([this] { muxer->consumerRun(); });
      sender.awaitHeld();
    } else if (statistics.packets == 2 * kPass) {
      EXPECT_EQ(statistics.packetsOverrun, 5U + (kRingSize - 7) + 5U)
          << "of the first pass all that has not left, of the second its first five";
      sender.release();
      WatchedThread::awaitSleep();
      if (statistics.datagrams == 20)
        muxer->muxerStop();  // 1 and what is left: 18 full ones and what the flush sends
    }
  });
  time.at(boost::chrono::hours(24), [this] { muxer->muxerStop(); });
  muxer->muxerRun();
  consumer.reset();

  std::set<std::size_t> sent;
  for (const auto& packet : sender.packets()) sent.insert(indexOf(packet));
  EXPECT_EQ(sent.size() + muxer->statistics().packetsOverrun, 2 * kPass);
}

namespace {

/// Tells where its packet is to be written.
class ObservedStream : public ScriptedStream {
 public:
  using ScriptedStream::ScriptedStream;
  ~ObservedStream() override { unlinkFromMuxer(); }

  int get_packet(signed char* packet, time_point now, time_point& next) override {
    written = packet;
    return ScriptedStream::get_packet(packet, now, next);
  }

  signed char* written = nullptr;
};

}  // namespace

// A page of the ring is closed once all slots are full. The consumer then stops in the middle of copying the first
// slot that reaches into that page, and a producer that wrote there meanwhile would be seen.
TEST_F(Ring, CopyUnderWayIsNotWrittenInto) {
  ObservedStream first(muxer, 0x1000, time.start(), {}, 1);
  first.linkToMuxer();
  addStreams(kRingSize - 1 + 30, 1);
  std::size_t slot = 0;
  std::atomic<bool> copying{false};
  std::atomic<bool> overwriting{false};
  std::atomic<bool> goOn{false};
  std::atomic<bool> writtenInto{false};
  const auto producer = std::this_thread::get_id();
  std::unique_ptr<TouchHook> page;
  std::unique_ptr<WatchedThread> consumer;
  const auto touched = [&](const void*) {
    if (std::this_thread::get_id() == producer) {
      writtenInto.store(true);
      goOn.store(true);
      return;
    }
    copying.store(true);
    while (!goOn) std::this_thread::yield();
  };
  for (std::size_t i = 0; i < 30; ++i)
    streams[kRingSize - 1 + i]->onAsked = [&, i] {
      if (i == 0 && !consumer) {
        slot = TouchHook::offset(first.written) / vantor::kPacketSize;
        page = std::make_unique<TouchHook>(first.written, touched);
        consumer = std::make_unique<WatchedThread>([this] { muxer->consumerRun(); });
        while (!copying) std::this_thread::yield();
      }
      // The slots in front of it have been read, so as many packets find room.
      if (i == slot) overwriting.store(true);
    };
  const YieldHook waiting([&] {
    if (overwriting) goOn.store(true);
  });
  time.beforeEachWait([] { WatchedThread::awaitSleep(); });
  time.at(seconds(1), [this] { muxer->muxerStop(); });
  muxer->muxerRun();
  consumer.reset();

  ASSERT_TRUE(overwriting);
  EXPECT_FALSE(writtenInto);
  const auto packets = sender.packets();
  ASSERT_GT(packets.size(), slot);
  EXPECT_EQ(pidOf(packets[slot]), slot == 0 ? 0x1000 : slot - 1);
}

// The same the other way round: the producer stops in the middle of a slot while the consumer takes all the others.
TEST_F(Ring, PacketThatIsBeingOverwrittenIsPassedOver) {
  ObservedStream first(muxer, 0x1000, time.start(), {}, 1);
  first.linkToMuxer();
  addStreams(kRingSize - 1 + 30, 1);
  std::size_t slot = 0;
  std::atomic<bool> halfWritten{false};
  std::atomic<bool> readFrom{false};
  const auto producer = std::this_thread::get_id();
  std::unique_ptr<TouchHook> page;
  const auto touched = [&](const void* address) {
    if (std::this_thread::get_id() != producer) {
      if (address < first.written + (slot + 1) * vantor::kPacketSize) readFrom.store(true);
      return;
    }
    halfWritten.store(true);
    while (!WatchedThread::isAsleep()) std::this_thread::yield();
  };
  streams[kRingSize - 1]->onAsked = [&] {
    if (page) return;
    slot = TouchHook::offset(first.written) / vantor::kPacketSize;
    page = std::make_unique<TouchHook>(first.written, touched);
  };
  WatchedThread consumer([&] {
    while (!halfWritten) std::this_thread::yield();
    muxer->consumerRun();
  });
  time.beforeEachWait([&] {
    if (halfWritten) WatchedThread::awaitSleep();
  });
  time.at(seconds(1), [this] { muxer->muxerStop(); });
  muxer->muxerRun();

  EXPECT_FALSE(readFrom);
  EXPECT_EQ(muxer->statistics().packetsOverrun, slot + 1) << "the ones in front of it were given up before";
  const auto packets = sender.packets();
  ASSERT_GT(packets.size(), slot);
  EXPECT_EQ(pidOf(packets[slot]), slot) << "the one behind it";
}

// The consumer is not told of packets under its mutex, so the news of them may come between its look at the ring
// and its sleep. A full ring brings no further packet that could wake it.
TEST_F(Ring, ConsumerThatMissedTheNewsOfAFullRingIsWokenAllTheSame) {
  addStreams(200, ScriptedStream::kEndless);
  std::atomic<bool> ringIsFull{false};
  std::atomic<bool> aboutToSleep{false};
  int fullSlots = 0;
  time.beforeEachWait([&] {
    while (!aboutToSleep) std::this_thread::yield();
    if (muxer->statistics().ringFullSlots == 0) return;
    ringIsFull.store(true);
    if (muxer->statistics().datagrams > 0) return muxer->muxerStop();
    if (!WatchedThread::isAsleep()) return;
    if (++fullSlots < 10) return;
    ADD_FAILURE() << "the consumer sleeps before a full ring";
    muxer->muxerStop();
  });
  const WatchedThread consumer([&] {
    int locks = 0;
    const LockHook hook([&](const void*) {
      if (++locks != 2)
        return;  // the second one is the condition's own: the ring was empty, the wait has not begun
      aboutToSleep.store(true);
      while (!ringIsFull) std::this_thread::yield();
    });
    muxer->consumerRun();
  });
  while (!aboutToSleep) std::this_thread::yield();
  muxer->muxerRun();
}
