#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/MutexCreation.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/SocketCalls.h"
#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/doubles/ThreadCreation.h"
#include "tests/servicemux/doubles/UtcClock.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/packets.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using vantor::serviceMux;
using vantor::TableOnAir;

/// The ids of this process's threads by their names.
std::multimap<std::string, int> threads() {
  std::multimap<std::string, int> found;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(task.path() / "comm");
    std::string name;
    if (std::getline(file, name)) found.emplace(name, std::stoi(task.path().filename()));
  }
  return found;
}

std::size_t countEntries(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

bool mayHaveRealTimePriority() {
  sched_param parameters{};
  parameters.sched_priority = 99;
  int result = 0;
  std::thread([&] { result = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters); }).join();
  return result == 0;
}

int priorityOf(int thread) {
  sched_param parameters{};
  sched_getparam(thread, &parameters);
  return parameters.sched_priority;
}

bool isPatPacket(const std::string& packet) { return pidOf(packet) == 0; }
bool isNullPacket(const std::string& packet) { return pidOf(packet) == 0x1FFF; }

}  // namespace

TEST(Construction, IsLoggedStepByStep) {
  RecordedLog log;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const serviceMux mux("east", makeAddress("127.0.0.1", 1234, 3), "");
  EXPECT_THAT(takeLines(log), ElementsAre("4 [east] Building Service Mux for [127.0.0.1]:[1234] vlan[3]",
                                          "4 [east] Output Socket opened!"));
}

TEST(Construction, EndsWhatItHasBegunWhenAThreadCannotBeMade) {
  const auto descriptors = countEntries("/proc/self/fd");
  for (int made = 0; made < 3; ++made) {
    RecordedLog log;
    const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
    const ThreadCreation creation(made);
    EXPECT_THROW(serviceMux("mux", makeAddress(), ""), std::system_error) << made;
    EXPECT_EQ(countEntries("/proc/self/fd"), descriptors) << made;
    EXPECT_EQ(threads().count("OPSIProd5004"), 0U) << made;
  }
}

TEST(Construction, EndsWhatItHasBegunWhenAMutexCannotBeMade) {
  RecordedLog log;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const auto descriptors = countEntries("/proc/self/fd");
  int made = 0;
  for (bool failed = true; failed; ++made) {
    const MutexCreation creation(made);
    try {
      const serviceMux mux("mux", makeAddress(), "");
      EXPECT_FALSE(creation.hasFailed()) << made;
    } catch (const boost::thread_resource_error& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr("failed in pthread_mutex_init"));
    }
    failed = creation.hasFailed();
    EXPECT_EQ(countEntries("/proc/self/fd"), descriptors) << made;
  }
  EXPECT_GT(made, 10) << "streams, registries and the muxer all have some";
}

TEST(Construction, NullNameIsAnEmptyName) {
  RecordedLog log;
  const ThreadCalls granted(ThreadCalls::Priorities::kGranted);
  const serviceMux mux(nullptr, makeAddress(), "");
  EXPECT_THAT(takeLines(log), Contains("4 [] Output Socket opened!"));
}

TEST(Construction, LeavesAllTablesEmpty) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  EXPECT_THAT(mux.tablesOnAir(), IsEmpty());
  // The producer takes what is on air in the order in which it was put there.
  mux.newPAT(makePat(1));
  ASSERT_TRUE(sender.await(isPatPacket));
  for (const auto& packet : sender.packets()) EXPECT_TRUE(isPatPacket(packet)) << pidOf(packet);
}

TEST(Threads, AreNamedAfterTheirPort) {
  const serviceMux mux("mux", makeAddress("127.0.0.1", 1234), "");
  const auto running = threads();
  EXPECT_EQ(running.count("OPSIProd1234"), 1U);
  EXPECT_EQ(running.count("OPSICons1234"), 1U);
}

TEST(Threads, ConsumerHasTheHigherRealTimePriority) {
  if (!mayHaveRealTimePriority()) GTEST_SKIP() << "this machine refuses real-time priority to the test";
  RecordedLog log;
  const serviceMux mux("mux", makeAddress("127.0.0.1", 4321), "");
  const auto running = threads();
  const int producer = running.find("OPSIProd4321")->second;
  const int consumer = running.find("OPSICons4321")->second;
  EXPECT_EQ(sched_getscheduler(producer), SCHED_FIFO);
  EXPECT_EQ(priorityOf(producer), 98);
  EXPECT_EQ(sched_getscheduler(consumer), SCHED_FIFO);
  EXPECT_EQ(priorityOf(consumer), 99);
  EXPECT_THAT(takeLines(log), testing::Not(Contains(testing::HasSubstr("sched params"))));
}

TEST(Threads, StartWithTheUpdaterAndEndWithIt) {
  const ThreadCalls calls(ThreadCalls::Priorities::kGranted);
  { const serviceMux mux("mux", makeAddress(), ""); }
  EXPECT_THAT(calls.made(), ElementsAre("create",                                        // the updater
                                        "create", "SCHED_FIFO 98", "name OPSIProd5004",  // the producer
                                        "create", "SCHED_FIFO 99", "name OPSICons5004",  // the consumer
                                        "join OPSICons5004", "join OPSIProd5004", "join unnamed"));
}

TEST(Threads, RunWithoutRealTimePriorityWhereItIsRefused) {
  RecordedLog log;
  const ThreadCalls refused(ThreadCalls::Priorities::kRefused);
  serviceMux mux("mux", makeAddress("127.0.0.1", 777), "");
  EXPECT_THAT(
      takeLines(log),
      ElementsAre("4 [mux] Building Service Mux for [127.0.0.1]:[777] vlan[1]", "4 [mux] Output Socket opened!",
                  "3 Failed to set prooducer sched params!", "3 Failed to set prooducer sched params!"));
  EXPECT_EQ(threads().count("OPSICons777"), 1U) << "the name does not depend on the priority";
  mux.newPAT(makePat(1));
  while (mux.statistics().datagrams == 0) std::this_thread::yield();
}

TEST(Destruction, LeavesNoThreadAndNoDescriptor) {
  const auto threadsBefore = threads().size();
  const auto descriptors = countEntries("/proc/self/fd");
  { const serviceMux mux("mux", makeAddress(), ""); }
  EXPECT_EQ(countEntries("/proc/self/fd"), descriptors);
  while (threads().size() > threadsBefore)
    std::this_thread::yield();  // the kernel is a little late with joined ones
}

TEST(Destruction, ClosesTheSocketOnce) {
  const SocketCalls calls;
  { const serviceMux mux("mux", makeAddress(), ""); }
  const auto made = calls.made();
  EXPECT_EQ(std::count(made.begin(), made.end(), "close"), 1);
  EXPECT_EQ(made.back(), "close");
}

TEST(Destruction, InTheMiddleOfTrafficWaitsForTheDatagramThatIsBeingSentAndSendsNoOther) {
  Sender sender;
  const ThreadCalls calls(ThreadCalls::Priorities::kGranted);
  auto mux = std::make_unique<serviceMux>("mux", sender.shared(), "");
  mux->newPAT(makePat(1));
  mux->newCAT(makeCat(1));
  mux->newNIT(makeNit(1));
  mux->newNULLPkts(0);
  ASSERT_TRUE(sender.await(isNullPacket));
  sender.hold();
  sender.awaitHeld();
  while (mux->statistics().ringFullSlots == 0) std::this_thread::yield();  // more is there to be sent
  const auto sent = sender.sizes().size();
  std::atomic<bool> gone{false};
  std::thread owner([&] {
    mux.reset();
    gone.store(true);
  });
  const auto isJoining = [&calls] {
    const auto made = calls.made();
    return std::find(made.begin(), made.end(), "join OPSICons0") != made.end();
  };
  while (!isJoining() && !gone) std::this_thread::yield();
  EXPECT_FALSE(gone);
  sender.release();
  owner.join();
  EXPECT_EQ(sender.sizes().size(), sent);
}

TEST(SetBitrate, IsNotNeededFor1024KilobitsASecond) {
  SimulatedTime time;
  Sender sender;
  UtcClock utc;
  std::atomic<bool> ending{false};
  utc.onRead = [&] {  // the updater must not make time pass
    while (!ending) std::this_thread::yield();
  };
  std::atomic<serviceMux*> built{nullptr};
  std::atomic<bool> begun{false};
  std::atomic<bool> done{false};
  std::uint64_t slots[2]{};
  const auto slotsSoFar = [&] {
    return built.load()->statistics().packets + built.load()->statistics().ringFullSlots;
  };
  time.beforeEachWait([&] {  // of the producer
    if (built == nullptr || begun.exchange(true)) return;
    built.load()->newNULLPkts(0);
    const nanoseconds now = SimulatedTime::now() - time.start();
    time.at(now + seconds(1), [&] { slots[0] = slotsSoFar(); });
    time.at(now + seconds(5), [&] {
      slots[1] = slotsSoFar();
      done.store(true);
    });
  });
  {
    serviceMux mux("mux", sender.shared(), "");
    built.store(&mux);
    while (!done) std::this_thread::yield();
    ending.store(true);
  }
  constexpr std::uint64_t kSlotsIn4Seconds = 4 * 1024000 / (8 * vantor::kPacketSize);
  EXPECT_NEAR(static_cast<double>(slots[1] - slots[0]), kSlotsIn4Seconds, 1);
}

TEST(SetBitrate, IsTheCeilingOfWhatIsSent) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.setBitrate(100);
  const auto begin = std::chrono::steady_clock::now();
  mux.newNULLPkts(0);
  constexpr int kPackets = 21;
  while (mux.statistics().packets < kPackets) std::this_thread::yield();
  const auto elapsed = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(elapsed, (kPackets - 1) * std::chrono::microseconds(15040));
}

TEST(Statistics, CountWhatWasSent) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.newNULLPkts(1);
  while (mux.statistics().datagrams < 3) std::this_thread::yield();
  mux.clearNULLPkts();
  const auto statistics = mux.statistics();
  EXPECT_GE(statistics.packets, 3U);
  EXPECT_GE(statistics.bytesSent, 3U * vantor::kPacketSize);
  EXPECT_EQ(statistics.bytesSent % vantor::kPacketSize, 0U);
  EXPECT_EQ(statistics.sendErrors, 0U);
}

TEST(TablesOnAir, TellPidVersionPeriodAndPackets) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.newNIT(makeNit(7, 6));
  mux.newPAT(makePat(3, 250));
  mux.newCAT(makeCat(5));
  mux.newNULLPkts(20);
  const auto isTable = [](const char* table, unsigned short pid, int version, unsigned int period,
                          unsigned int packets) {
    return AllOf(Field(&TableOnAir::name, table), Field(&TableOnAir::pid, pid),
                 Field(&TableOnAir::version, version), Field(&TableOnAir::period, period),
                 Field(&TableOnAir::packets, packets));
  };
  EXPECT_THAT(mux.tablesOnAir(),
              ElementsAre(isTable("PAT", 0, 3, 200, 8), isTable("CAT", 1, 5, 200, 1),
                          isTable("NIT actual", 0x10, 7, 500, 8), isTable("null packets", 0x1FFF, -1, 20, 1)));
  mux.clearCAT();
  mux.clearNULLPkts();
  EXPECT_THAT(mux.tablesOnAir(), ElementsAre(isTable("PAT", 0, 3, 200, 8), isTable("NIT actual", 0x10, 7, 500, 8)));
}

TEST(TablesOnAir, CountAndMeasureRepetitions) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.newNULLPkts(5);
  const auto begun = [&mux] { return mux.tablesOnAir().at(0).repetitions; };
  while (begun() < 5) std::this_thread::yield();
  EXPECT_GT(mux.tablesOnAir().at(0).measuredPeriod, 0);
  mux.newNULLPkts(60000);
  EXPECT_LE(begun(), 1U) << "counted from the newest table on";
}
