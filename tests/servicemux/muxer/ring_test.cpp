#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Sender.h"
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
  int socket = 1;
  sockaddr_in destination{};
  std::shared_ptr<VBRmuxer> muxer =
      std::make_shared<VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
  std::vector<std::unique_ptr<ScriptedStream>> streams;
};

/// A stream that always has a packet and writes it byte by byte. All bytes of a packet are equal.
class UniformStream : public vantor::muxed_stream {
 public:
  explicit UniformStream(const std::shared_ptr<VBRmuxer>& muxer) : muxed_stream(muxer, 0, true, kNoCC) {}
  ~UniformStream() override { unlinkFromMuxer(); }

  unsigned int getBitrate() override { return 0; }

  int get_packet(signed char* packet, time_point now, time_point& next) override {
    ++packets;
    for (std::size_t i = 0; i < vantor::kPacketSize; ++i) {
      static_cast<volatile signed char*>(packet)[i] = static_cast<signed char>(packets);
      onByte(i);
    }
    next = now;
    return 1;
  }

  std::size_t packets = 0;
  std::function<void(std::size_t)> onByte = [](std::size_t) {};
};

bool isUniform(const std::string& packet) { return packet.find_first_not_of(packet.front()) == std::string::npos; }

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

TEST_F(Ring, OverrunUnderARunningConsumerTearsNoPacket) {
  constexpr std::size_t kPasses = 300;
  addStreams(200, ScriptedStream::kEndless);
  time.beforeEachWait([this] {
    if (streams.front()->given.size() >= kPasses) muxer->muxerStop();
  });
  {
    const WatchedThread consumer([this] { muxer->consumerRun(); });
    muxer->muxerRun();
  }
  EXPECT_GT(muxer->statistics().packetsOverrun, 0U);
  const auto packets = sender.packets();
  EXPECT_FALSE(packets.empty());
  for (const auto& packet : packets) {
    ASSERT_LT(pidOf(packet), streams.size());
    ASSERT_EQ(packet, makePacket(pidOf(packet), counterOf(packet), byteAt(packet, 4)));
  }
}

TEST_F(Ring, PacketThatIsBeingOverwrittenIsPassedOver) {
  addStreams(kRingSize, 1);
  UniformStream last(muxer);
  last.linkToMuxer();
  std::unique_ptr<WatchedThread> consumer;
  last.onByte = [&](std::size_t i) {
    if (i != vantor::kPacketSize / 2 || consumer) return;
    // Half of the ring's first slot has been overwritten: all the others are sent now.
    consumer = std::make_unique<WatchedThread>([this] { muxer->consumerRun(); });
    WatchedThread::awaitSleep();
  };
  time.beforeEachWait([] { WatchedThread::awaitSleep(); });
  time.at(milliseconds(1), [&] { last.unlinkFromMuxer(); });
  time.at(seconds(1), [this] { muxer->muxerStop(); });
  muxer->muxerRun();
  consumer.reset();

  const auto packets = sender.packets();
  ASSERT_GE(packets.size(), kRingSize);
  for (std::size_t i = 0; i + 1 < kRingSize; ++i) EXPECT_EQ(indexOf(packets[i]), i + 1) << "the oldest one is lost";
  EXPECT_TRUE(isUniform(packets[kRingSize - 1]));
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
