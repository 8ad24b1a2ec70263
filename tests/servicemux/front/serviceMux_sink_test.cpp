#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <system_error>
#include <thread>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/SocketCalls.h"
#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/doubles/ThreadCreation.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/packets.h"

// The multiplex with an output that is handed in open.

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;
using vantor::serviceMux;

/// Stays in its first send until it is told to go on, and tells when it is destroyed.
class SlowSink final : public vantor::DatagramSink {
 public:
  struct Events {
    std::atomic<bool> sending{false};
    std::atomic<bool> goOn{false};
    std::atomic<bool> gone{false};
    std::atomic<bool> goneWhileSending{false};
  };

  explicit SlowSink(Events& events) : events(events) {}
  ~SlowSink() override {
    events.goneWhileSending.store(events.sending);
    events.gone.store(true);
  }

  ssize_t send(const void*, std::size_t size) override {
    events.sending.store(true);
    while (!events.goOn) std::this_thread::yield();
    events.sending.store(false);
    return static_cast<ssize_t>(size);
  }

 private:
  Events& events;
};

int versionOf(const std::string& packet) { return byteAt(packet, 10) >> 1 & 0x1F; }

/// Waits until a whole datagram has gone out behind those that were lost.
void awaitDatagram(const serviceMux& mux) {
  while (mux.statistics().datagrams == 0) std::this_thread::yield();
}

}  // namespace

TEST(OpenOutput, IsAnnouncedAsWhatItIs) {
  RecordedLog log;
  Sender sender;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const serviceMux mux("east", sender.shared(), "");
  EXPECT_THAT(takeLines(log), ElementsAre("4 [east] Building Service Mux for an open output"));
}

TEST(OpenOutput, NeedsNoSocketAndNoInterface) {
  RecordedLog log;
  Sender sender;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const SocketCalls calls;
  {
    serviceMux mux("mux", sender.shared(), "");
    log.take();
    EXPECT_TRUE(mux.openUDPSocket());
    EXPECT_EQ(mux.getOutputInterfaceName(), "");
    EXPECT_THAT(takeLines(log), IsEmpty());
    mux.newPAT(makePat(1));
    awaitDatagram(mux);
  }
  EXPECT_THAT(calls.made(), IsEmpty());
}

TEST(OpenOutput, HasThreadsWithoutAPort) {
  Sender sender;
  const ThreadCalls calls(ThreadCalls::Priorities::kGranted);
  { const serviceMux mux("mux", sender.shared(), ""); }
  EXPECT_THAT(calls.made(), AllOf(Contains("name OPSIProd0"), Contains("name OPSICons0")));
}

TEST(OpenOutput, TakesTheDatagramsOfTheMultiplex) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.newPAT(makePat(7, 500));
  ASSERT_TRUE(sender.await([](const std::string& packet) { return counterOf(packet) == 10; }));
  for (const std::size_t size : sender.sizes()) {
    EXPECT_EQ(size % vantor::kPacketSize, 0U);
    EXPECT_LE(size, 7 * vantor::kPacketSize);
  }
  EXPECT_EQ(versionOf(sender.packets().at(0)), 7);
}

TEST(OpenOutput, ThatFailsOrTakesTooLittleIsLoggedAndCounted) {
  RecordedLog log;
  Sender sender;
  sender.failNext(ENOBUFS);
  sender.shortenNext(187);
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  serviceMux mux("mux", sender.shared(), "");
  log.take();
  mux.newNULLPkts(60000);
  ASSERT_TRUE(sender.await([](const std::string&) { return true; }));
  mux.newNULLPkts(40);
  awaitDatagram(mux);
  EXPECT_EQ(mux.statistics().sendErrors, 2U);
  mux.clearNULLPkts();
  std::vector<std::string> lost;
  for (const auto& line : takeLines(log))
    if (line[0] == '3') lost.push_back(line);
  EXPECT_THAT(lost, ElementsAre("3 Could not write 188 bytes to socket: -1 (105: No buffer space available)",
                                AllOf(StartsWith("3 Could not write "), EndsWith(" bytes to socket: 187"))));
}

TEST(OpenOutput, IsLetGoBehindTheLastDatagram) {
  SlowSink::Events events;
  const ThreadCalls calls(ThreadCalls::Priorities::kGranted);
  auto mux = std::make_unique<serviceMux>("mux", std::make_shared<SlowSink>(events), "");
  mux->newNULLPkts(0);
  while (!events.sending) std::this_thread::yield();
  std::thread owner([&] { mux.reset(); });
  const auto isJoining = [&calls] {
    const auto made = calls.made();
    return std::find(made.begin(), made.end(), "join OPSICons0") != made.end();
  };
  while (!isJoining() && !events.gone) std::this_thread::yield();
  EXPECT_FALSE(events.gone);
  events.goOn.store(true);
  owner.join();
  EXPECT_TRUE(events.gone);
  EXPECT_FALSE(events.goneWhileSending);
}

TEST(OpenOutput, OutlivesTheMultiplexWhereItIsShared) {
  const auto sender = std::make_shared<Sender>();
  { const serviceMux mux("mux", sender, ""); }
  EXPECT_EQ(sender.use_count(), 1);
}

TEST(OpenOutput, IsLetGoWhenConstructionBreaksOff) {
  for (int made = 0; made < 3; ++made) {
    RecordedLog log;
    const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
    const auto sender = std::make_shared<Sender>();
    const ThreadCreation creation(made);
    EXPECT_THROW(serviceMux("mux", sender, ""), std::system_error) << made;
    EXPECT_EQ(sender.use_count(), 1) << made;
  }
}

TEST(OpenOutputs, OfSeveralMultiplexesDoNotMix) {
  constexpr int kOutputs = 4;
  RecordedLog log;
  std::vector<std::unique_ptr<Sender>> senders;
  std::vector<std::unique_ptr<serviceMux>> muxes;
  for (int i = 0; i < kOutputs; ++i) {
    senders.push_back(std::make_unique<Sender>());
    muxes.push_back(std::make_unique<serviceMux>("mux", senders.back()->shared(), ""));
  }
  senders[1]->failNext(EPERM);
  for (int i = 0; i < kOutputs; ++i) muxes[i]->newPAT(makePat(i));
  for (int i = 0; i < kOutputs; ++i) {
    ASSERT_TRUE(senders[i]->await([](const std::string& packet) { return counterOf(packet) == 2; })) << i;
    EXPECT_EQ(muxes[i]->statistics().sendErrors, i == 1 ? 1U : 0U) << i;
    for (const auto& packet : senders[i]->packets()) EXPECT_EQ(versionOf(packet), i);
  }
}
