#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>
#include <numeric>

#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/servicemux/await.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/muxer/ClassicStream.h"
#include "tests/servicemux/muxer/ScriptedStream.h"
#include "tests/servicemux/muxer/makeMuxer.h"

// What goes wrong only when two threads meet at one certain point. Each test holds one of them there.

namespace {

using vantor::muxed_stream;
using vantor::SectionQueue;
using vantor::SimpleTable;
using vantor::TableCarrousel;
using vantor::VBRmuxer;

/// Waits for a loop to return. When it does not in a time that is long on any machine, stops it once more, so that
/// the test can fail.
void expectReturn(const std::atomic<bool>& returned, VBRmuxer& muxer) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!returned && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  EXPECT_TRUE(returned) << "the stop was not heard";
  if (!returned) muxer.muxerStop();
}

/// A thread that calls muxerStop() at the worst moment: between the look of a loop at the stop flag and its wait.
class StopInTheWindow {
 public:
  explicit StopInTheWindow(VBRmuxer& muxer)
      : thread([this, &muxer] {
          await(open);
          const LockHook hook([this](const void* mutex) {
            if (mutex == waitersMutex) arrived.store(true);
          });
          muxer.muxerStop();
          arrived.store(true);
        }) {}
  ~StopInTheWindow() { thread.join(); }

  /// Called by the loop in its window. Returns once the stop has been given or waits for the loop's own mutex.
  void meet(const void* mutex) {
    waitersMutex.store(mutex);
    open.store(true);
    await(arrived);
  }

 private:
  std::atomic<const void*> waitersMutex{nullptr};
  std::atomic<bool> open{false};
  std::atomic<bool> arrived{false};
  std::thread thread;
};

}  // namespace

TEST(Stop, IsHeardByAConsumerAboutToSleep) {
  const auto muxer = makeMuxer();
  std::atomic<bool> returned{false};
  StopInTheWindow stop(*muxer);
  std::thread consumer([&] {
    const void* consumerMutex = nullptr;
    int locks = 0;
    const LockHook hook([&](const void* mutex) {
      if (++locks == 1) consumerMutex = mutex;
      if (locks == 2) stop.meet(consumerMutex);  // on the way into the wait
    });
    muxer->consumerRun();
    returned.store(true);
  });
  expectReturn(returned, *muxer);
  consumer.join();
}

TEST(Stop, IsHeardByAProducerAboutToSleep) {
  const auto muxer = makeMuxer();
  std::atomic<bool> returned{false};
  StopInTheWindow stop(*muxer);
  std::thread producer([&] {
    const EndlessWaits noDeadline;  // which would only hide a lost stop for half a second
    const void* listMutex = nullptr;
    int passes = 0;
    const LockHook hook([&](const void* mutex) {
      if (listMutex == nullptr) listMutex = mutex;
      if (mutex == listMutex)
        ++passes;
      else if (passes == 2)
        stop.meet(listMutex);  // the first pass does not wait, the second is on its way into the wait
    });
    muxer->muxerRun();
    returned.store(true);
  });
  expectReturn(returned, *muxer);
  producer.join();
}

TEST(Flush, IsHeardByAConsumerAboutToSleep) {
  Sender sender;
  const auto muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  ScriptedStream stream(muxer, 0x100, {}, seconds(0), 1);
  std::atomic<const void*> consumerMutex{nullptr};
  std::atomic<bool> packetIsThere{false};
  std::atomic<bool> window{false};
  std::atomic<bool> flushing{false};
  std::thread producer([&] {
    const EndlessWaits noDeadline;  // which would only hide a lost flush for half a second
    bool asked = false;
    stream.onAsked = [&] { asked = true; };
    int since = 0;
    const LockHook hook([&](const void* mutex) {
      if (!asked) return;
      if (++since == 1) {  // telling of the packet
        packetIsThere.store(true);
        await(window);
      } else if (mutex == consumerMutex || since > 2) {
        flushing.store(true);
      }
    });
    stream.linkToMuxer();
    muxer->muxerRun();
  });
  await(packetIsThere);
  std::thread consumer([&] {
    int locks = 0;
    const LockHook hook([&](const void* mutex) {
      if (++locks == 1) consumerMutex.store(mutex);
      if (locks != 3) return;
      window.store(true);  // it has the packet, has seen no flush and is on the way into the wait
      await(flushing);
    });
    muxer->consumerRun();
  });
  EXPECT_TRUE(sender.await([](const std::string& packet) { return pidOf(packet) == 0x100; }));
  muxer->muxerStop();
  consumer.join();
  producer.join();
}

TEST(Waits, CanBeInterrupted) {
  const auto muxer = makeMuxer();
  std::atomic<int> interrupted{0};
  const auto run = [&](void (VBRmuxer::*loop)()) {
    try {
      (muxer.get()->*loop)();
    } catch (const boost::thread_interrupted&) {
      ++interrupted;
    }
  };
  boost::thread producer(run, &VBRmuxer::muxerRun);
  boost::thread consumer(run, &VBRmuxer::consumerRun);
  producer.interrupt();
  consumer.interrupt();
  producer.join();
  consumer.join();
  EXPECT_EQ(interrupted, 2);
}

namespace {

/// Stays in get_packet until its destruction has begun, and a good while longer.
class SlowStream : public ClassicStream {
 public:
  explicit SlowStream(const std::shared_ptr<VBRmuxer>& muxer) : ClassicStream(muxer, 1, true, kNoCC) {}
  ~SlowStream() override {
    dying.store(true);
    unlinkFromMuxer();
    EXPECT_FALSE(polled) << "the producer is still in get_packet";
    content.clear();
  }

  unsigned int getBitrate() override { return 0; }

  int get_packet(signed char*, time_point, time_point&) override {
    polled.store(true);
    await(dying);
    for (int i = 0; i < 1000; ++i) {
      EXPECT_EQ(std::accumulate(content.begin(), content.end(), 0), 4950);
      std::this_thread::yield();
    }
    polled.store(false);
    return 0;
  }

  std::atomic<bool> polled{false};

 private:
  static std::vector<int> zeroTo99() {
    std::vector<int> numbers(100);
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
  }

  std::atomic<bool> dying{false};
  std::vector<int> content = zeroTo99();
};

}  // namespace

TEST(DyingStream, UnlinksOnlyWhenTheProducerHasLeftIt) {
  const auto muxer = makeMuxer();
  std::thread producer([&] { muxer->muxerRun(); });
  auto stream = std::make_unique<SlowStream>(muxer);
  stream->linkToMuxer();
  await(stream->polled);
  stream.reset();
  muxer->muxerStop();
  producer.join();
}

namespace {

/// Destroys a linked stream while the producer is in its get_packet, and fails when the stream's mutex goes before
/// the producer has left.
void expectWholeWhilePolled(const std::shared_ptr<VBRmuxer>& muxer, std::unique_ptr<muxed_stream> stream) {
  std::atomic<const void*> listMutex{nullptr};
  std::atomic<const void*> streamMutex{nullptr};
  std::atomic<bool> unlinking{false};
  std::thread producer([&] {
    const LockHook hook([&](const void* mutex) {
      if (listMutex == nullptr) listMutex.store(mutex);
      if (mutex == listMutex || streamMutex != nullptr) return;
      streamMutex.store(mutex);  // the producer is in get_packet
      await(unlinking);
    });
    muxer->muxerRun();
  });
  while (streamMutex == nullptr) std::this_thread::yield();
  {
    const LockHook hook(
        [&](const void* mutex) {
          if (mutex == listMutex) unlinking.store(true);
          if (mutex == streamMutex && !unlinking) {
            ADD_FAILURE() << "the stream is being emptied while the producer polls it";
            unlinking.store(true);
          }
        },
        [&](const void* mutex) {
          if (mutex == streamMutex && !unlinking) ADD_FAILURE() << "the stream is gone while the producer polls it";
        });
    stream.reset();
  }
  muxer->muxerStop();
  producer.join();
}

}  // namespace

TEST(DyingStream, TableIsWholeWhileTheProducerPollsIt) {
  const auto muxer = makeMuxer();
  auto table = std::make_unique<SimpleTable>(muxer, 1, 0);
  std::string packets = makePacket(1, 0);
  table->new_packetized_table(packets);
  expectWholeWhilePolled(muxer, std::move(table));
}

TEST(DyingStream, CarrouselIsWholeWhileTheProducerPollsIt) {
  const auto muxer = makeMuxer();
  auto carrousel = std::make_unique<TableCarrousel>(muxer, 1, muxed_stream::kNoCC);
  std::string packets = makePacket(1, 0);
  ASSERT_NE(carrousel->new_packetized_subtable(packets, 100, 1), nullptr);
  expectWholeWhilePolled(muxer, std::move(carrousel));
}

TEST(DyingStream, QueueIsWholeWhileTheProducerPollsIt) {
  const auto muxer = makeMuxer();
  auto queue = std::make_unique<SectionQueue>(muxer, 1, 0);
  queue->queue_section(makePacket(1, 0), 0);
  expectWholeWhilePolled(muxer, std::move(queue));
}

TEST(ClearedTable, LeavesTheMuxerBeforeItTakesItsOwnMutex) {
  const auto muxer = makeMuxer();
  SimpleTable table(muxer, 1, 0);
  std::string packets = makePacket(1, 0);
  std::vector<const void*> setting;
  std::vector<const void*> clearing;
  {
    const LockHook hook([&](const void* mutex) { setting.push_back(mutex); });
    table.new_packetized_table(packets);
  }
  {
    const LockHook hook([&](const void* mutex) { clearing.push_back(mutex); });
    table.clear_packetized_table();
  }
  ASSERT_GE(setting.size(), 2U);
  ASSERT_GE(clearing.size(), 2U);
  EXPECT_EQ(clearing[0], setting[1]) << "the list's";
  EXPECT_EQ(clearing.back(), setting[0]) << "its own";
}

TEST(ClearedQueue, LeavesTheMuxerBeforeItTakesItsOwnMutex) {
  const auto muxer = makeMuxer();
  SectionQueue queue(muxer, 1, 0);
  std::vector<const void*> adding;
  std::vector<const void*> clearing;
  {
    const LockHook hook([&](const void* mutex) { adding.push_back(mutex); });
    queue.queue_section(makePacket(1, 0), 0);
  }
  {
    const LockHook hook([&](const void* mutex) { clearing.push_back(mutex); });
    queue.clear_queue();
  }
  ASSERT_GE(adding.size(), 2U);
  ASSERT_GE(clearing.size(), 2U);
  EXPECT_EQ(clearing[0], adding[1]) << "the list's";
  EXPECT_EQ(clearing.back(), adding[0]) << "its own";
}

// --- The stream list between producer and callers ---------------------------------------------------------------

namespace {

/// Has nothing to send and keeps the producer from sleeping: the next packet is always due now. Counts the passes.
class RestlessStream : public ClassicStream {
 public:
  explicit RestlessStream(const std::shared_ptr<VBRmuxer>& muxer) : ClassicStream(muxer, 1, true, kNoCC) {}
  ~RestlessStream() override { unlinkFromMuxer(); }

  unsigned int getBitrate() override { return 0; }

  int get_packet(signed char*, time_point now, time_point& next) override {
    next = now;
    ++passes;
    return 0;
  }

  /// False when there is none in a time that is long on any machine.
  [[nodiscard]] bool awaitPass() const { return awaitPassAfter(passes); }

  [[nodiscard]] bool awaitPassAfter(int before) const {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (passes == before && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    return passes != before;
  }

  std::atomic<int> passes{0};
};

}  // namespace

TEST(StreamList, GoesRoundAmongManyCallersAndTheProducer) {
  constexpr int kCallers = 4;
  const auto muxer = makeMuxer();
  RestlessStream always(muxer);
  always.linkToMuxer();
  std::thread producer([&] { muxer->muxerRun(); });
  std::vector<std::thread> callers;
  for (int i = 0; i < kCallers; ++i)
    callers.emplace_back([&] {
      RestlessStream own(muxer);
      for (int round = 0; round < 500; ++round) {
        own.linkToMuxer();
        own.unlinkFromMuxer();
      }
    });
  for (std::thread& caller : callers) caller.join();
  EXPECT_TRUE(always.awaitPass()) << "one of them has left it waiting";
  muxer->muxerStop();
  producer.join();
}

// The caller is held where it has asked for the list and has not got it, for as long as the producer goes on.
TEST(StreamList, CallerWaitsForNoMoreThanThePassUnderWay) {
  constexpr int kMany = 1000;
  const auto muxer = makeMuxer();
  RestlessStream always(muxer);
  always.linkToMuxer();
  const WatchedThread producer([&] {
    const EndlessWaits untilTheCallerHasHadIt;
    muxer->muxerRun();
  });
  RestlessStream stream(muxer);
  for (int round = 0; round < 20; ++round) {
    stream.linkToMuxer();
    EXPECT_TRUE(stream.awaitPass());
    int asked = -1;
    {
      const LockHook hook([&](const void*) {
        if (asked >= 0) return;
        asked = stream.passes;
        while (!WatchedThread::isAsleep() && stream.passes < asked + kMany) std::this_thread::yield();
      });
      stream.unlinkFromMuxer();  // and its count stands still
    }
    EXPECT_LE(stream.passes - asked, 1);
    if (always.awaitPass()) continue;
    ADD_FAILURE() << "the producer was not woken";
    break;
  }
  muxer->muxerStop();
}

TEST(StreamList, CallerThatLinksWaitsForNoMoreThanThePassUnderWay) {
  constexpr int kMany = 1000;
  const auto muxer = makeMuxer();
  RestlessStream always(muxer);
  always.linkToMuxer();
  const WatchedThread producer([&] {
    const EndlessWaits untilTheCallerHasHadIt;
    muxer->muxerRun();
  });
  for (int round = 0; round < 20; ++round) {
    RestlessStream stream(muxer);
    EXPECT_TRUE(always.awaitPass());
    int asked = -1;
    int letIn = -1;
    {
      const LockHook hook(
          [&](const void*) {
            if (asked >= 0) return;
            asked = always.passes;
            while (!WatchedThread::isAsleep() && always.passes < asked + kMany) std::this_thread::yield();
          },
          [](const void*) {},
          [&](const void*) {
            if (letIn < 0) letIn = always.passes;  // the list is still its own
          });
      stream.linkToMuxer();
    }
    EXPECT_LE(letIn - asked, 1);
  }
  muxer->muxerStop();
}

TEST(StreamList, ProducerMakesAPassBetweenTwoCallers) {
  const auto muxer = makeMuxer();
  RestlessStream always(muxer);
  always.linkToMuxer();
  const WatchedThread producer([&] {
    const EndlessWaits untilTheCallerHasHadIt;
    muxer->muxerRun();
  });
  EXPECT_TRUE(always.awaitPass());
  RestlessStream first(muxer);
  std::atomic<bool> secondAsks{false};
  std::atomic<bool> goOn{false};
  std::thread second([&] {
    RestlessStream own(muxer);
    const LockHook hook([&](const void*) {
      secondAsks = true;
      while (!goOn) std::this_thread::yield();
    });
    own.unlinkFromMuxer();
  });
  while (!secondAsks) std::this_thread::yield();
  WatchedThread::awaitSleep();
  const int before = always.passes;
  first.unlinkFromMuxer();
  EXPECT_TRUE(always.awaitPassAfter(before)) << "it waits for the second caller too";
  goOn = true;
  second.join();
  muxer->muxerStop();
}

TEST(StreamList, StopIsLetInToo) {
  const auto muxer = makeMuxer();
  RestlessStream stream(muxer);
  stream.linkToMuxer();
  std::thread producer([&] {
    const EndlessWaits untilTheCallerHasHadIt;
    muxer->muxerRun();
  });
  EXPECT_TRUE(stream.awaitPass());
  int before = -1;
  {
    const LockHook hook([&](const void*) {
      if (before < 0) before = stream.passes;
    });
    muxer->muxerStop();
  }
  producer.join();
  EXPECT_LE(stream.passes - before, 1) << "the pass under way";
}

// The caller is held for as long as the producer does not go on without it.
TEST(StreamList, CallerThatDoesNotComeHoldsTheProducerUpForATimeOnly) {
  const auto muxer = makeMuxer();
  RestlessStream always(muxer);
  always.linkToMuxer();
  RestlessStream stream(muxer);
  std::thread producer([&] { muxer->muxerRun(); });
  EXPECT_TRUE(always.awaitPass());
  {
    int asked = -1;
    const LockHook hook([&](const void*) {
      if (asked >= 0) return;
      asked = always.passes;
      while (always.passes < asked + 3) std::this_thread::yield();
    });
    stream.linkToMuxer();
  }
  muxer->muxerStop();
  producer.join();
}
