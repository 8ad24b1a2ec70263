#include "servicemux/registries/PSIPStreams.h"

#include <atomic>
#include <thread>

#include "servicemux/packetize/packetize.h"
#include "tests/servicemux/doubles/FailingSections.h"
#include "tests/servicemux/doubles/FixedTime.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/registries/RegistryTest.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::PSIPStreams;
using vantor::thrift::dvb_tables::LocalTimeOffset;

constexpr unsigned short kPsipPid = 0x1FFB;
constexpr unsigned char kMgt = 0xC7;
constexpr unsigned char kTerrestrialVct = 0xC8;
constexpr unsigned char kCableVctTableId = 0xC9;
constexpr unsigned char kStt = 0xCD;

/// An offset of +01:00 that becomes +02:00 on 2023-11-`day` at 01:00 UTC.
LocalTimeOffset offsetOn(int day) {
  constexpr long long kMjdOfOctober31 = 60248;
  LocalTimeOffset lto;
  lto.local_time_offset = 0x0100;
  lto.next_time_offset = 0x0200;
  lto.time_of_change = (kMjdOfOctober31 + day) << 24 | 0x010000;
  return lto;
}

constexpr std::time_t kOnNovember14 = 1700000000;  // 2023-11-14 22:13:20 UTC

unsigned wordAt(const std::string& packet, std::size_t at) {
  return static_cast<unsigned>(byteAt(packet, at) << 8 | byteAt(packet, at + 1));
}

// Where they stand in a packet: behind the header, pointer_field, the section's header and protocol_version.
constexpr std::size_t kSystemTime = 5 + 9;
constexpr std::size_t kGpsUtcOffset = kSystemTime + 4;
constexpr std::size_t kDaylightSavings = kGpsUtcOffset + 1;

class PSIPStreamsTest : public RegistryTest {
 protected:
  bool add(unsigned char tid, std::size_t count = 1, unsigned char fill = 0xAA) {
    std::string packets;
    for (std::size_t i = 0; i < count; ++i) packets += makePacket(kPsipPid, 0, fill);
    return psips->newPSIPTable(tid, packets, 1);
  }

  vantor::TableCarrousel& carrouselOf(unsigned char tid) { return *psips->findPSIPTable(tid)->carrousel; }

  /// The carousel's next packet, as late as need be.
  std::string take(vantor::TableCarrousel& carrousel) {
    std::string packet(vantor::kPacketSize, '\0');
    now += boost::chrono::hours(1);
    auto next = now + boost::chrono::hours(1);
    if (carrousel.get_packet(reinterpret_cast<signed char*>(packet.data()), now, next) == 0) return {};
    return packet;
  }

  std::string sttPacket() {
    std::string packet(vantor::kPacketSize, '\0');
    psips->fillSTTData(reinterpret_cast<unsigned char*>(packet.data()));
    return packet;
  }

  boost::chrono::steady_clock::time_point now = boost::chrono::steady_clock::now();
  std::unique_ptr<PSIPStreams> psips = std::make_unique<PSIPStreams>(&output);
};

}  // namespace

TEST_F(PSIPStreamsTest, PeriodsFollowTheTableId) {
  const auto period = [this](int tid) { return psips->getInsPeriod(static_cast<vantor::PSIP_TID>(tid)); };
  const auto& periods = output.periods = ownPeriods();
  EXPECT_EQ(period(0xC7), periods.mgt);
  EXPECT_EQ(period(0xC8), periods.vctTerrestrial);
  EXPECT_EQ(period(0xC9), periods.vctCable);
  EXPECT_EQ(period(0xCA), periods.rrt);
  EXPECT_EQ(period(0xCD), periods.stt);
  EXPECT_THAT(takeLines(log), IsEmpty());
  for (const int tid : {0xCB, 0xCC, 0x42}) {
    EXPECT_EQ(period(tid), periods.fallback);
    EXPECT_THAT(takeLines(log), ElementsAre("3 [getInsPeriod] Table id not supported!"));
  }
}

TEST_F(PSIPStreamsTest, NewPeriodsAreTakenByTheirTables) {
  for (const unsigned char tableId : {kMgt, kTerrestrialVct, kCableVctTableId}) add(tableId);
  psips->newPSIPTable(kStt, offsetOn(29));
  const auto& periods = output.periods = ownPeriods();
  psips->takePeriods();
  const auto tables = onAir(*psips);
  EXPECT_EQ(tables.at(0).period, periods.mgt);
  EXPECT_EQ(tables.at(1).period, periods.vctTerrestrial);
  EXPECT_EQ(tables.at(2).period, periods.vctCable);
  EXPECT_EQ(tables.at(3).period, periods.stt);
}

TEST_F(PSIPStreamsTest, AllTablesShareOneCarrousel) {
  EXPECT_TRUE(add(kMgt));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Add new PSIP table [0x00c7]", "4 PSIP table not found [0x00c7]",
                                          "4 PSIP empty carrousel."));
  EXPECT_TRUE(add(kTerrestrialVct));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Add new PSIP table [0x00c8]", "4 PSIP table not found [0x00c8]",
                                          "4 PSIP carrousel use count [2]"));
  EXPECT_TRUE(psips->newPSIPTable(kStt, offsetOn(29)));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Add new PSIP table [0x00cd]", "4 PSIP table not found [0x00cd]",
                                          "4 PSIP carrousel use count [3]"));
  EXPECT_EQ(carrouselOf(kMgt).GetNumberSubTables(), 3U);
  EXPECT_EQ(&carrouselOf(kStt), &carrouselOf(kMgt));
  EXPECT_TRUE(carrouselOf(kMgt).is_linked());
}

TEST_F(PSIPStreamsTest, SecondTableOfAnIdTakesTheFirstOnesPlace) {
  add(kMgt, 1, 0x11);
  const auto* const subtable = psips->findPSIPTable(kMgt)->subtable;
  takeLines(log);
  EXPECT_TRUE(add(kMgt, 1, 0x22));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Add new PSIP table [0x00c7]", "7 PSIP table found [0x00c7] replace "));
  EXPECT_EQ(psips->findPSIPTable(kMgt)->subtable, subtable);
  EXPECT_EQ(carrouselOf(kMgt).GetNumberSubTables(), 1U);
  EXPECT_EQ(byteAt(take(carrouselOf(kMgt)), 4), 0x22);
}

TEST_F(PSIPStreamsTest, UpdateWithoutPacketsIsRefused) {
  add(kMgt, 1, 0x11);
  ASSERT_FALSE(add(kMgt, 0));
  ASSERT_NE(psips->findPSIPTable(kMgt), nullptr);
  EXPECT_EQ(carrouselOf(kMgt).GetNumberSubTables(), 1U);
  EXPECT_EQ(byteAt(take(carrouselOf(kMgt)), 4), 0x11);
}

TEST_F(PSIPStreamsTest, UnsupportedTableIdIsSentAtTheFallbackPeriod) {
  EXPECT_TRUE(add(0xCB));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Add new PSIP table [0x00cb]", "4 PSIP table not found [0x00cb]",
                                          "4 PSIP empty carrousel.", "3 [getInsPeriod] Table id not supported!"));
  EXPECT_EQ(onAir(*psips).at(0).period, 10000U);
}

TEST_F(PSIPStreamsTest, CarrouselLivesAsLongAsOneOfItsTables) {
  add(kMgt);
  add(kCableVctTableId);
  const std::weak_ptr<vantor::TableCarrousel> carrousel = psips->findPSIPTable(kMgt)->carrousel;
  takeLines(log);
  psips->clearPSIPTable(kMgt);
  ASSERT_FALSE(carrousel.expired());
  EXPECT_EQ(carrousel.lock()->GetNumberSubTables(), 1U);
  EXPECT_TRUE(carrousel.lock()->is_linked());
  psips->clearPSIPTable(kTerrestrialVct);
  EXPECT_FALSE(carrousel.expired());
  psips->clearPSIPTable(kCableVctTableId);
  EXPECT_TRUE(carrousel.expired());
  EXPECT_THAT(takeLines(log), IsEmpty());
}

TEST_F(PSIPStreamsTest, NextCarrouselContinuesTheCounter) {
  add(kMgt);
  for (int i = 0; i < 6; ++i) take(carrouselOf(kMgt));
  add(kCableVctTableId);
  psips->clearAllPSIPTables();
  EXPECT_EQ(psips->findPSIPTable(kMgt), nullptr);
  add(kMgt);
  EXPECT_EQ(counterOf(take(carrouselOf(kMgt))), 6);
  psips->clearPSIPTable(kMgt);
  add(kMgt);  // sends nothing
  psips->clearPSIPTable(kMgt);
  add(kMgt);
  EXPECT_EQ(counterOf(take(carrouselOf(kMgt))), 7);
}

TEST_F(PSIPStreamsTest, PacketSentWhileTheLastTableIsClearedCounts) {
  add(kMgt);
  auto& carrousel = carrouselOf(kMgt);
  take(carrousel);
  int counter = 0;
  bool polling = false;
  {
    // The producer polls what is linked, whenever it gets a chance to.
    const LockHook hook([&](const void*) {
      if (polling || !carrousel.is_linked()) return;
      polling = true;
      const std::string packet = take(carrousel);
      if (!packet.empty()) counter = counterOf(packet);
      polling = false;
    });
    psips->clearPSIPTable(kMgt);
  }
  EXPECT_GT(counter, 0) << "a packet was sent meanwhile";
  add(kMgt);
  EXPECT_EQ(counterOf(take(carrouselOf(kMgt))), counter + 1);
}

TEST_F(PSIPStreamsTest, RefusedTableLeavesNothingBehind) {
  output.periods.mgt = output.periods.stt = 24;
  int mutexesDestroyed = 0;
  {
    const LockHook hook([](const void*) {}, [&](const void*) { ++mutexesDestroyed; });
    EXPECT_FALSE(add(kMgt));
    EXPECT_FALSE(add(kTerrestrialVct, 0));
    EXPECT_FALSE(psips->newPSIPTable(kStt, offsetOn(29)));
  }
  EXPECT_EQ(mutexesDestroyed, 3) << "those of the carousels, each of which was made for its table alone";
  EXPECT_EQ(psips->getLocalTimeOffsetInfo(), offsetOn(29)) << "taken over all the same";
  EXPECT_THAT(onAir(*psips), IsEmpty());
  takeLines(log);
  EXPECT_TRUE(add(kCableVctTableId));
  EXPECT_THAT(takeLines(log), testing::Contains("4 PSIP empty carrousel."));
}

TEST_F(PSIPStreamsTest, SttIsOneOnAirHoweverOftenItIsSet) {
  const FixedTime time(kOnNovember14);
  psips->newPSIPTable(kStt, LocalTimeOffset());
  const auto* const subtable = psips->findPSIPTable(kStt)->subtable;
  EXPECT_EQ(wordAt(take(carrouselOf(kStt)), kDaylightSavings), 0U);
  takeLines(log);
  EXPECT_TRUE(psips->newPSIPTable(kStt, offsetOn(29)));
  EXPECT_THAT(takeLines(log), ElementsAre("4 Add new PSIP table [0x00cd]", "7 PSIP table found [0x00cd] replace "));
  EXPECT_EQ(psips->findPSIPTable(kStt)->subtable, subtable);
  EXPECT_EQ(carrouselOf(kStt).GetNumberSubTables(), 1U);
  EXPECT_EQ(wordAt(take(carrouselOf(kStt)), kDaylightSavings), 0x1D02U);
}

TEST_F(PSIPStreamsTest, OffsetOutlivesTheStt) {
  psips->newPSIPTable(kStt, offsetOn(29));
  psips->clearPSIPTable(kStt);
  EXPECT_EQ(psips->getLocalTimeOffsetInfo(), offsetOn(29));
}

TEST_F(PSIPStreamsTest, SttPacketTellsGpsTime) {
  const FixedTime time(kOnNovember14);
  const std::string packet = sttPacket();
  const unsigned char expected[] = {0x47, 0x5F, 0xFB, 0x10, 0x00, 0xCD, 0xF0,
                                    0x11, 0x00, 0x00, 0xC1, 0x00, 0x00, 0x00};
  EXPECT_EQ(packet.substr(0, sizeof expected),
            std::string(reinterpret_cast<const char*>(expected), sizeof expected));
  EXPECT_EQ(wordAt(packet, kSystemTime) << 16 | wordAt(packet, kSystemTime + 2), 1384035218U);
  EXPECT_EQ(byteAt(packet, kGpsUtcOffset), 18);
  EXPECT_EQ(wordAt(packet, kDaylightSavings), 0U);
  EXPECT_EQ(packet.substr(25), std::string(vantor::kPacketSize - 25, '\xFF'));
}

TEST_F(PSIPStreamsTest, SttOnAirIsMadeAnewForEachSending) {
  psips->newPSIPTable(kStt, offsetOn(29));
  for (int second = 0; second < 3; ++second) {
    const FixedTime time(kOnNovember14 + second);
    const std::string packet = take(carrouselOf(kStt));
    EXPECT_EQ(wordAt(packet, kSystemTime + 2), (1384035218U + static_cast<unsigned>(second)) & 0xFFFF);
    EXPECT_EQ(counterOf(packet), second);
  }
}

TEST_F(PSIPStreamsTest, PacketIsLeftAloneWhenThereIsNoMemory) {
  const FailingSections failing;
  EXPECT_EQ(sttPacket(), std::string(vantor::kPacketSize, '\0'));
}

TEST_F(PSIPStreamsTest, TellsWhatIsOnAir) {
  for (const unsigned char tid : {kMgt, kTerrestrialVct, kCableVctTableId, vantor::kRrtTableId}) {
    std::string packets;
    vantor::packetizeBytes(kPsipPid, 0, packets,
                           std::string({static_cast<char>(tid), '\x70', '\xC8'}) + std::string(200, 'x'));
    psips->newPSIPTable(tid, packets, 1);
  }
  psips->newPSIPTable(kStt, LocalTimeOffset());
  const auto tables = onAir(*psips);
  std::vector<std::string> names;
  for (const auto& table : tables) names.push_back(table.name);
  EXPECT_THAT(names, ElementsAre("ATSC MGT", "ATSC VCT terrestrial", "ATSC VCT cable", "ATSC RRT 0", "ATSC STT"));
  EXPECT_EQ(tables[0].pid, kPsipPid);
  EXPECT_EQ(tables[0].period, 150U);
  EXPECT_EQ(tables[0].packets, 2U);
  EXPECT_EQ(tables[4].period, 1000U);
  EXPECT_EQ(tables[4].packets, 1U);
}

TEST_F(PSIPStreamsTest, CounterDoesNotJumpWhileTablesComeAndGoUnderTraffic) {
  output.muxer->SetBitrate(100000);
  output.periods.mgt = output.periods.stt = 25;
  std::thread producer([this] { output.muxer->muxerRun(); });
  std::thread consumer([this] { output.muxer->consumerRun(); });
  std::atomic<bool> done{false};
  std::thread other([&] {
    for (int day = 1; !done; day = day % 28 + 1) {
      psips->setLocalTimeOffsetInfo(offsetOn(day));
      EXPECT_EQ(psips->getLocalTimeOffsetInfo().local_time_offset, 0x0100);
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 300; ++i) {
    add(kMgt, 200);
    psips->newPSIPTable(kStt, offsetOn(i % 28 + 1));
    const auto packets = output.muxer->statistics().packets;
    while (output.muxer->statistics().packets < packets + 3) std::this_thread::yield();
    if (i % 2 == 0) {
      psips->clearAllPSIPTables();
    } else {
      psips->clearPSIPTable(kMgt);
      psips->clearPSIPTable(kStt);
    }
  }
  done.store(true);
  other.join();
  add(kMgt, 1, 0xEE);
  EXPECT_TRUE(output.sender.await([](const std::string& packet) { return byteAt(packet, 4) == 0xEE; }));
  output.muxer->muxerStop();
  consumer.join();
  producer.join();

  const auto packets = output.sender.packets();
  EXPECT_GT(packets.size(), 900U);
  for (std::size_t i = 1; i < packets.size(); ++i) {
    ASSERT_EQ(pidOf(packets[i]), kPsipPid);
    ASSERT_EQ(counterOf(packets[i]), (counterOf(packets[i - 1]) + 1) % 16) << i;
  }
}
