#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "interface/dvbpsi.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/SimpleTable.h"
#include "tests/interface/RecordedLog.h"
#include "tests/sanitized.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/front/wholeSections.h"
#include "tests/servicemux/packets.h"

namespace {

using vantor::serviceMux;
using vantor::SimpleTable;
using vantor::VBRmuxer;

constexpr std::size_t kStreams = 64;

std::size_t countEntries(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

constexpr unsigned short kFirstPmtPid = 0x100;
constexpr int kPmtPids = 4;

/// Puts service tables on air, replaces them and takes them off again, at random.
class ServiceTables {
 public:
  explicit ServiceTables(serviceMux& mux) : mux(mux) {}

  void disturb() {
    switch (random(16)) {
      case 0:
      case 1:
        mux.newPMT(makePmt(program(), version()), pmtPid());
        break;
      case 2:
        mux.newSDTActual(makeSdt(random(3), 1, version(), random(20)));
        break;
      case 3:
        mux.newSDTOthers(makeSdt(random(8), 1, version(), random(20)));
        break;
      case 4:
      case 5:
        mux.newEITpf({{0, {{0, makeEit(0x4E + random(2), program(), version(), random(3))}}}});
        break;
      case 6:
      case 7:
        mux.newEITsch({{0, {{0, schedule()}}}});
        break;
      case 8:
      case 9:
      case 10:
        mux.newSections(makeSections(sharedPid(), 0x4A + random(3), random(3), version() % 32, 1 + random(4), 200));
        break;
      case 11:
        mux.setTimingProfile(random(2) == 0 ? vantor::TimingProfile::Standards : vantor::TimingProfile::Classic);
        break;
      default:
        clearSomething();
    }
  }

 private:
  int random(int end) { return static_cast<int>(generator() % static_cast<unsigned int>(end)); }
  int program() { return 1 + random(16); }
  int version() { return random(40); }
  /// Of SDTs, of EITs, of a PMT or of nothing else.
  int sharedPid() {
    constexpr int kPids[] = {0x11, 0x12, kFirstPmtPid, 0x300};
    return kPids[random(4)];
  }
  short pmtPid() { return static_cast<short>(kFirstPmtPid + random(kPmtPids)); }

  vantor::thrift::dvb_tables::EIT schedule() {
    auto eit = makeEit(0x50 + random(0x20), program(), version(), random(32));
    if (random(2) == 0) eit.__set_sectioning(vantor::thrift::dvb_tables::EITSectioning::STANDARD);
    return eit;
  }

  void clearSomething() {
    switch (random(40)) {
      case 0:
        mux.clearAllPMTs();
        break;
      case 1:
        mux.clearAllEITs();
        break;
      case 2:
        mux.clearAllTables();
        break;
      case 3:
        mux.clearSDTActual();
        break;
      case 4:
        mux.clearSDTOthers(random(8), -1);
        break;
      case 5:
      case 6:
      case 7:
        mux.clearSections(sharedPid(), 0x4A + random(3), random(3));
        break;
      default:
        random(2) == 0 ? mux.clearPMT(static_cast<short>(program()), 0)
                       : mux.clearEITsch(static_cast<short>(program()));
    }
  }

  serviceMux& mux;
  std::mt19937 generator{20261121};
};

/// A muxer between its two threads, and tables that come and go under it.
class Traffic {
 public:
  explicit Traffic(Sender& sender) : muxer(std::make_shared<VBRmuxer>(sender, 20000, 7)) {
    for (unsigned short pid = 0; pid < kStreams; ++pid) tables.push_back(makeTable(pid));
  }

  /// Does something to one table.
  void disturb() {
    const auto pid = static_cast<unsigned short>(random(kStreams));
    auto& table = tables[pid];
    switch (random(6)) {
      case 0:
        table = makeTable(pid);
        break;
      case 1:
        table->clear_packetized_table();
        break;
      case 2:
        table->SetPeriod(random(20));
        break;
      case 3:
        EXPECT_LE(table->onAir().facts.packets, 5U);
        break;
      default:
        setPackets(*table, pid);
    }
  }

  /// Leaves the tables as they are: linked or not.
  void stop() {
    muxer->muxerStop();
    consumer.join();
    producer.join();
    muxer.reset();
  }

  std::shared_ptr<VBRmuxer> muxer;

 private:
  unsigned int random(std::size_t end) { return static_cast<unsigned int>(generator() % end); }

  std::unique_ptr<SimpleTable> makeTable(unsigned short pid) {
    auto table = std::make_unique<SimpleTable>(muxer, pid, random(20));
    setPackets(*table, pid);
    return table;
  }

  void setPackets(SimpleTable& table, unsigned short pid) {
    std::string packets;
    const auto fill = static_cast<unsigned char>(random(256));
    for (unsigned int i = 0; i <= random(5); ++i) packets += makePacket(pid, 0, fill);
    table.new_packetized_table(packets);
  }

  std::mt19937 generator{20260101};
  std::vector<std::unique_ptr<SimpleTable>> tables;
  std::thread producer{[this] { muxer->muxerRun(); }};
  std::thread consumer{[this] { muxer->consumerRun(); }};
};

}  // namespace

TEST(Stress, TablesComeAndGoUnderTraffic) {
  Sender sender;
  Traffic traffic(sender);
  std::atomic<bool> done{false};
  std::thread controller([&] {
    for (unsigned int i = 0; !done; ++i) {
      traffic.muxer->SetBitrate(i % 7 == 0 ? 0 : 5000 + i % 20000);
      EXPECT_LE(traffic.muxer->statistics().bytesSent % vantor::kPacketSize, 0U);
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 30000; ++i) traffic.disturb();
  done.store(true);
  controller.join();
  traffic.stop();

  const auto packets = sender.packets();
  EXPECT_GT(packets.size(), 0U);
  for (const auto& packet : packets) {
    ASSERT_LT(pidOf(packet), kStreams);
    ASSERT_EQ(packet, makePacket(pidOf(packet), counterOf(packet), byteAt(packet, 4)));
  }
}

TEST(Stress, LoopsStopHoweverEarlyTheyAreTold) {
  for (int i = 0; i < 300; ++i) {
    Sender sender;
    Traffic traffic(sender);
    for (int disturbance = 0; disturbance < i % 10; ++disturbance) traffic.disturb();
    traffic.stop();
  }
}

TEST(Stress, MultiplexesComeAndGoWithoutALeak) {
  constexpr int kWarmUp = 20;
  constexpr int kCycles = 200;
  constexpr std::size_t kBytesPerCycle = 200;  // a forgotten table, string or thread is more
  const auto live = [](int i) {
    serviceMux mux("mux", makeAddress(), "");
    mux.setBitrate(20000);
    mux.newPAT(makePat(i % 32, 250));
    mux.newCAT(makeCat(i % 32));
    mux.newNIT(makeNit(i % 32, 6));
    mux.newPMT(makePmt(i, i % 32), 0x100);
    mux.newSDTActual(makeSdt(1, 1, i % 32));
    mux.newSDTOthers(makeSdt(2, 1, i % 32, 20));
    mux.newEITsch({{0, {{0, makeEit(0x50, i, i % 32, 40)}}}});
    if (i % 3 == 0) mux.newNULLPkts(0);
    if (i % 4 == 0) mux.clearAllTables();
  };
  for (int i = 0; i < kWarmUp; ++i) live(i);
  const auto descriptors = countEntries("/proc/self/fd");
  const auto threads = countEntries("/proc/self/task");
  const auto bytes = mallinfo2().uordblks;
  for (int i = 0; i < kCycles; ++i) live(i);
  EXPECT_EQ(countEntries("/proc/self/fd"), descriptors);
  while (countEntries("/proc/self/task") > threads) std::this_thread::yield();  // joined ones go a little later
  if (!SANITIZED) {  // a sanitizer's allocator is unknown to mallinfo2, and looks for leaks itself
    EXPECT_LT(mallinfo2().uordblks, bytes + kCycles * kBytesPerCycle);
  }
}

TEST(Stress, TablesAreReplacedWhileOtherThreadsLookOn) {
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.newNULLPkts(1);
  std::atomic<bool> done{false};
  std::thread controller([&] {
    for (unsigned int i = 1; !done; ++i) {
      mux.setBitrate(1000 + i % 30000);
      EXPECT_EQ(mux.statistics().sendErrors, 0U);
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 300; ++i) {
    mux.newPAT(makePat(i % 32, 1 + i));
    mux.newNIT(makeNit(i % 32, 1 + static_cast<std::size_t>(i) % 12));
    mux.newCAT(makeCat(i % 32));
    EXPECT_EQ(mux.tablesOnAir().size(), 4U);
    if (i % 5 == 0) mux.clearCAT();
    if (i % 50 == 49) mux.clearAllTables();
  }
  done.store(true);
  controller.join();
}

TEST(Stress, ServiceTablesComeAndGoAtRandom) {
  constexpr auto kTime = std::chrono::seconds(20);
  serviceMux mux("mux", makeAddress(), "");
  mux.setBitrate(10000);
  mux.newNULLPkts(1);
  ServiceTables tables(mux);
  const auto end = std::chrono::steady_clock::now() + kTime;
  while (std::chrono::steady_clock::now() < end) {
    tables.disturb();
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  mux.clearAllTables();
  mux.clearNULLPkts();
  EXPECT_TRUE(mux.tablesOnAir().empty());
  EXPECT_GT(mux.statistics().packets, 1000U);
}

namespace {

std::string makeEcmSection(int fill) {
  std::string section(0x40, static_cast<char>(fill));
  section[0] = static_cast<char>(0x80);
  section[1] = 0x70;
  section[2] = static_cast<char>(section.size() - 3);
  return section;
}

vantor::thrift::general::ScramblerConfig makeConfig(int type, bool enabled) {
  vantor::thrift::general::ScramblerConfig config;
  config.enabled = enabled;
  config.scrambler_type = type;
  config.ecm_pids = {{1, {0x200, 0x201}}};
  config.emm_pids = {{1, {0x300}}};
  return config;
}

vantor::InsertionPeriods periodsOfRound(int i) {
  vantor::InsertionPeriods periods;
  periods.ecm = periods.emmSpreading = periods.timeUpdater = 25 + static_cast<unsigned int>(i % 100);
  return periods;
}

void sendMessages(serviceMux& mux, int i) {
  vantor::thrift::simulcrypt::ECMItem ecm;
  ecm.pid = 0x200 + i % 3;
  ecm.data = makeEcmSection(i);
  mux.setLiveECM(ecm);
  vantor::thrift::simulcrypt::EMMItem emm;
  emm.pid = 0x300;
  emm.data = makeEcmSection(i);
  mux.setLiveEMM(emm);
  vantor::thrift::general::simulCryptData message;
  message.data = makeEcmSection(i);
  mux.setECM(message);
  mux.setEMM(message);
}

}  // namespace

TEST(Stress, MessagesComeWhileTheConfigurationChanges) {
  constexpr int kRounds = 100000;  // of either side; the one that is through goes on until the other is
  Sender sender;
  serviceMux mux("mux", sender.shared(), "");
  mux.newNULLPkts(1);
  std::atomic<int> messages{0};
  std::atomic<int> configurations{0};
  const auto isThrough = [&] { return messages >= kRounds && configurations >= kRounds; };
  std::thread messenger([&] {
    for (; !isThrough(); ++messages) sendMessages(mux, messages);
  });
  for (; !isThrough(); ++configurations) {
    const int i = configurations;
    mux.setDRMConfig(makeConfig(i % 4, i % 6 != 0));
    if (i % 5 == 0) mux.clearLiveECMs();
    if (i % 7 == 0) mux.clearLiveEMMs();
    if (i % 11 == 0) mux.clearECM();
    if (i % 13 == 0) mux.clearEMM();
    if (i % 17 == 0) mux.setInsertionPeriods(periodsOfRound(i));
    if (i % 50 == 0) mux.clearAllTables();
    EXPECT_LE(mux.tablesOnAir().size(), 4U);
  }
  messenger.join();
}

TEST(Stress, MultiplexesWithTimeTablesEndAtAnyMoment) {
  constexpr int kCycles = 500;
  constexpr std::chrono::milliseconds kUpdaterPeriod(1000);
  std::mt19937 random{20261121};
  std::chrono::steady_clock::duration ending{0};
  for (int i = 0; i < kCycles; ++i) {
    Sender sender;
    auto mux = std::make_unique<serviceMux>("mux", sender.shared(), "");
    mux->setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s>(i % 3));
    mux->newSTT({});
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    if (i % 5 == 0) mux->clearLocalTimeOffsetTable();
    if (i % 2 == 0) mux->setInsertionPeriods(periodsOfRound(i));
    const auto begin = std::chrono::steady_clock::now();
    mux.reset();
    ending += std::chrono::steady_clock::now() - begin;
  }
  EXPECT_LT(ending / kCycles, kUpdaterPeriod / 4) << "the updater is not waited for";
}
