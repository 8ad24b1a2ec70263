#include "servicemux/streams/SectionQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "servicemux/muxer/VBRmuxer.h"
#include "tests/servicemux/await.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/packets.h"

namespace {

using testing::DoubleEq;
using testing::SizeIs;
using vantor::SectionQueue;
using vantor::VBRmuxer;

constexpr unsigned short kQueuePid = 0x14;
constexpr unsigned int kRate = 1000000;     // bit/s
constexpr nanoseconds kInterval(1504000);   // at that rate
constexpr unsigned int kSlowRate = 100000;  // bit/s
constexpr nanoseconds kSlowInterval(15040000);

/// Packets that differ in their payload: 0x10, 0x11 ... for a tag of 0x10. All carry the counter 7.
std::string makeItem(std::size_t packets, unsigned char tag) {
  std::string item;
  for (std::size_t i = 0; i < packets; ++i) item += makePacket(kQueuePid, 7, static_cast<unsigned char>(tag + i));
  return item;
}

/// A stream of a muxer that does not run, with clocks that stand still.
class SectionQueueTest : public testing::Test {
 protected:
  struct Asked {
    int result;
    int tag;  // -1 when nothing was written
    int counter;
    nanoseconds next;  // from the beginning on
  };

  Asked ask(nanoseconds at) {
    time_point next = start + seconds(1000);
    std::string packet(vantor::kPacketSize, '\0');
    const int result = queue->get_packet(reinterpret_cast<signed char*>(packet.data()), start + at, next);
    const bool written = byteAt(packet, 0) != 0;
    return {result, written ? byteAt(packet, 4) : -1, written ? counterOf(packet) : -1, next - start};
  }

  void add(std::size_t packets, unsigned char tag, unsigned int rate = 0) {
    queue->queue_section(makeItem(packets, tag), rate);
  }

  FrozenClocks clocks;
  const time_point start = clocks.steady();
  Sender sender;
  std::shared_ptr<VBRmuxer> muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  std::unique_ptr<SectionQueue> queue = std::make_unique<SectionQueue>(muxer, kQueuePid, kRate);
};

}  // namespace

TEST_F(SectionQueueTest, NewQueueIsEmptyAndNotLinked) {
  EXPECT_FALSE(queue->is_linked());
  EXPECT_EQ(queue->getBitrate(), kRate);
  EXPECT_EQ(queue->GetLastCC(), 16);
  const Asked asked = ask({});
  EXPECT_EQ(asked.result, 0);
  EXPECT_EQ(asked.tag, -1);
  EXPECT_EQ(asked.next, seconds(1000)) << "next must be left alone";
}

TEST_F(SectionQueueTest, ItemsLeaveOnceInOrderAtTheRate) {
  add(2, 0x10);
  add(1, 0x20);
  add(2, 0x30);
  const std::vector<int> tags = {0x10, 0x11, 0x20, 0x30, 0x31};
  for (int i = 0; i < 5; ++i) {
    const nanoseconds due = i * kInterval;
    if (i > 0) {
      const Asked early = ask(due - nanoseconds(1));
      EXPECT_EQ(early.result, 0) << i;
      EXPECT_EQ(early.tag, -1) << i;
      EXPECT_EQ(early.next, due) << i;
    }
    const Asked asked = ask(due);
    EXPECT_EQ(asked.result, 1) << i;
    EXPECT_EQ(asked.tag, tags[static_cast<std::size_t>(i)]);
    EXPECT_EQ(asked.next, due + kInterval) << i;
  }
  EXPECT_EQ(ask(seconds(1)).result, 0) << "everything is sent once";
}

TEST_F(SectionQueueTest, IntervalIsRoundedToTheNearestNanosecond) {
  const auto intervalAt = [this](unsigned int rate) {
    queue = std::make_unique<SectionQueue>(muxer, kQueuePid, rate);
    add(2, 0x10);
    return ask({}).next;
  };
  EXPECT_EQ(intervalAt(1000000), nanoseconds(1504000));
  EXPECT_EQ(intervalAt(6), nanoseconds(250666666667));
  EXPECT_EQ(intervalAt(3009), nanoseconds(499833832)) << "499833831.84";
  EXPECT_EQ(intervalAt(7), nanoseconds(214857142857)) << "214857142857.14";
  EXPECT_EQ(intervalAt(1024000000), nanoseconds(1469)) << "1468.75";
  EXPECT_EQ(intervalAt(3008000000), nanoseconds(500));
  EXPECT_EQ(intervalAt(962560000), nanoseconds(1563)) << "1562.5: halves go up";
  EXPECT_EQ(intervalAt(0xFFFFFFFF), nanoseconds(350)) << "350.18";
}

TEST_F(SectionQueueTest, FirstPacketMayLeaveWhenItIsQueued) {
  clocks.advance(milliseconds(40));
  add(1, 0x10);
  EXPECT_EQ(ask(milliseconds(40) - nanoseconds(1)).result, 0);
  EXPECT_EQ(ask(milliseconds(40)).result, 1);
}

TEST_F(SectionQueueTest, ItemInAnEmptyQueueDoesNotWaitForTheIntervalOfTheOneBefore) {
  add(1, 0x10);
  EXPECT_EQ(ask({}).tag, 0x10);
  clocks.advance(nanoseconds(1));
  add(1, 0x20);
  EXPECT_EQ(ask(nanoseconds(1)).tag, 0x20);
}

TEST_F(SectionQueueTest, ItemBehindOthersDoesNotMoveTheDueTime) {
  add(2, 0x10);
  EXPECT_EQ(ask({}).tag, 0x10);
  clocks.advance(milliseconds(100));
  add(1, 0x20);
  EXPECT_EQ(ask(kInterval).tag, 0x11);
  EXPECT_EQ(ask(2 * kInterval).tag, 0x20);
}

TEST_F(SectionQueueTest, LateServiceIsCaughtUpOnePacketACall) {
  add(4, 0x10);
  const nanoseconds late = 2 * kInterval + kInterval / 2;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(ask(late).result, 1) << i;
  const Asked asked = ask(late);
  EXPECT_EQ(asked.result, 0);
  EXPECT_EQ(asked.next, 3 * kInterval) << "due times follow the previous due time, not the moment of sending";
}

TEST_F(SectionQueueTest, NeverRaisesTheNextDueTime) {
  add(2, 0x10);
  time_point next = start;
  std::string packet(vantor::kPacketSize, '\0');
  EXPECT_EQ(queue->get_packet(reinterpret_cast<signed char*>(packet.data()), start, next), 1);
  EXPECT_EQ(next, start);
}

TEST_F(SectionQueueTest, RateOfAnItemInAnEmptyQueueTakesEffectAtOnce) {
  add(2, 0x10, kSlowRate);
  EXPECT_EQ(queue->getBitrate(), kSlowRate);
  EXPECT_EQ(ask({}).next, kSlowInterval);
}

TEST_F(SectionQueueTest, RateOfAnItemBehindOthersTakesEffectBehindItsLastPacket) {
  add(1, 0x10);
  add(2, 0x20, kSlowRate);
  add(2, 0x30);
  EXPECT_EQ(queue->getBitrate(), kRate);
  EXPECT_EQ(ask({}).next, kInterval);
  EXPECT_EQ(ask(kInterval).next, 2 * kInterval) << "the item itself leaves at the rate before";
  EXPECT_EQ(ask(2 * kInterval).next, 2 * kInterval + kSlowInterval);
  EXPECT_EQ(queue->getBitrate(), kSlowRate);
  EXPECT_EQ(ask(2 * kInterval + kSlowInterval).next, 2 * kInterval + 2 * kSlowInterval);
}

TEST_F(SectionQueueTest, RateOf0KeepsTheCurrentOne) {
  add(1, 0x10, 0);
  add(1, 0x20, 0);
  EXPECT_EQ(ask({}).next, kInterval);
  EXPECT_EQ(ask(kInterval).next, 2 * kInterval);
  EXPECT_EQ(queue->getBitrate(), kRate);
}

TEST_F(SectionQueueTest, SetRateCountsFromThePacketAfterTheNext) {
  add(3, 0x10);
  EXPECT_EQ(ask({}).next, kInterval);
  queue->SetRate(kSlowRate);
  EXPECT_EQ(queue->getBitrate(), kSlowRate);
  EXPECT_EQ(ask(kInterval - nanoseconds(1)).result, 0);
  EXPECT_EQ(ask(kInterval).next, kInterval + kSlowInterval);
}

TEST_F(SectionQueueTest, QueueWithARateOf0SendsOnEveryCall) {
  queue = std::make_unique<SectionQueue>(muxer, kQueuePid, 0);
  add(3, 0x10);
  for (int i = 0; i < 3; ++i) {
    const Asked asked = ask({});
    EXPECT_EQ(asked.tag, 0x10 + i);
    EXPECT_EQ(asked.next, nanoseconds(0));
  }
}

TEST_F(SectionQueueTest, EmptyStringIsNoItem) {
  queue->queue_section("", kSlowRate);
  EXPECT_FALSE(queue->is_linked());
  EXPECT_EQ(queue->getBitrate(), kRate);
  EXPECT_EQ(ask({}).result, 0);
}

TEST_F(SectionQueueTest, StaysLinkedWhileItIsEmpty) {
  add(1, 0x10);
  EXPECT_TRUE(queue->is_linked());
  EXPECT_EQ(ask({}).result, 1);
  const Asked asked = ask(seconds(1));
  EXPECT_EQ(asked.result, 0);
  EXPECT_EQ(asked.next, seconds(1000));
  EXPECT_TRUE(queue->is_linked());
}

TEST_F(SectionQueueTest, ClearDropsTheRestAndUnlinks) {
  add(3, 0x10, kSlowRate);
  add(1, 0x20);
  EXPECT_EQ(ask({}).tag, 0x10);
  queue->clear_queue();
  EXPECT_FALSE(queue->is_linked());
  EXPECT_EQ(ask(seconds(1)).result, 0);
  EXPECT_EQ(queue->getBitrate(), kSlowRate);
  add(3, 0x30);
  EXPECT_TRUE(queue->is_linked());
  EXPECT_EQ(ask({}).tag, 0x30) << "from its first packet on";
  EXPECT_EQ(ask(kSlowInterval).tag, 0x31);
}

TEST_F(SectionQueueTest, CallerKeepsTheItem) {
  std::string item = makeItem(2, 0x10);
  queue->queue_section(item, 0);
  EXPECT_EQ(item, makeItem(2, 0x10));
}

TEST_F(SectionQueueTest, CounterRunsOnAcrossItemsAndClearing) {
  add(2, 0x10);
  EXPECT_EQ(ask({}).counter, 7) << "the first packet keeps the counter it was made with";
  EXPECT_EQ(ask(seconds(1)).counter, 8);
  add(1, 0x20);
  EXPECT_EQ(ask(seconds(1)).counter, 9);
  queue->clear_queue();
  add(1, 0x30);
  EXPECT_EQ(ask(seconds(1)).counter, 10);
  EXPECT_EQ(queue->GetLastCC(), 10);
}

TEST_F(SectionQueueTest, SendingsAreCountedAndMeasuredFromFirstPackets) {
  EXPECT_EQ(queue->sendings().count(), 0U);
  add(2, 0x10);
  EXPECT_EQ(ask({}).result, 1);
  EXPECT_EQ(ask(kInterval).result, 1);
  EXPECT_EQ(queue->sendings().count(), 1U);
  clocks.advance(milliseconds(1003));
  add(2, 0x10);
  EXPECT_EQ(ask(milliseconds(1003)).result, 1);
  EXPECT_EQ(queue->sendings().count(), 2U);
  EXPECT_THAT(queue->sendings().meanPeriod(), DoubleEq(1003));
  queue->clear_queue();
  EXPECT_EQ(queue->sendings().count(), 0U);
}

TEST_F(SectionQueueTest, OutlivesItsMuxer) {
  add(1, 0x10);
  muxer.reset();
  EXPECT_FALSE(queue->is_linked()) << "the muxer lets go of its streams when it dies";
  add(1, 0x10);
  EXPECT_FALSE(queue->is_linked());
  queue->clear_queue();
  queue.reset();
}

TEST(SectionQueueThreads, QueueIsWholeWhileTheProducerPollsIt) {
  Sender sender;
  const auto muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  auto queue = std::make_unique<SectionQueue>(muxer, kQueuePid, 0);
  queue->queue_section(makeItem(1, 0), 0);

  std::atomic<const void*> listMutex{nullptr};
  std::atomic<const void*> queueMutex{nullptr};
  std::atomic<bool> unlinking{false};
  std::thread producer([&] {
    const LockHook hook([&](const void* mutex) {
      if (listMutex == nullptr) listMutex.store(mutex);
      if (mutex == listMutex || queueMutex != nullptr) return;
      queueMutex.store(mutex);  // the producer is in get_packet
      await(unlinking);
    });
    muxer->muxerRun();
  });
  while (queueMutex == nullptr) std::this_thread::yield();
  {
    const LockHook hook(
        [&](const void* mutex) {
          if (mutex == listMutex) unlinking.store(true);
        },
        [&](const void* mutex) {
          if (mutex == queueMutex && !unlinking) ADD_FAILURE() << "the queue is gone while the producer polls it";
        });
    queue.reset();
  }
  muxer->muxerStop();
  producer.join();
}

TEST(SectionQueueThreads, EveryItemOfTwoCallersArrivesOnceAndWhole) {
  constexpr int kItems = 500;
  Sender sender;
  const auto muxer = std::make_shared<VBRmuxer>(sender, 100000, 7);
  SectionQueue queue(muxer, kQueuePid, 0);
  std::thread producer([&] { muxer->muxerRun(); });
  std::thread consumer([&] { muxer->consumerRun(); });
  const auto enqueue = [&](unsigned char tag) {
    for (int i = 0; i < kItems; ++i) {
      queue.queue_section(makeItem(2, tag), static_cast<unsigned int>(50000000 + i));
      if (i % 50 == 0) queue.SetRate(60000000);
    }
  };
  std::thread other(enqueue, 0x80);
  enqueue(0x10);
  other.join();
  queue.queue_section(makePacket(kQueuePid, 0, 0xEE), 0);
  EXPECT_TRUE(sender.await([](const std::string& packet) { return byteAt(packet, 4) == 0xEE; }));
  muxer->muxerStop();
  consumer.join();
  producer.join();

  const auto packets = sender.packets();
  ASSERT_THAT(packets, SizeIs(4 * kItems + 1));
  for (std::size_t i = 0; i + 1 < packets.size(); i += 2) {
    ASSERT_EQ(byteAt(packets[i], 4) & 0x0F, 0) << "item " << i;
    ASSERT_EQ(byteAt(packets[i + 1], 4), byteAt(packets[i], 4) + 1) << "item " << i;
    ASSERT_EQ(counterOf(packets[i + 1]), (counterOf(packets[i]) + 1) % 16);
  }
}
