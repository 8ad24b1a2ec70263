#include "programs/monitor/PacketClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/programs/monitor/packets.h"

namespace vantor::monitor {
namespace {

using ::testing::ElementsAre;
using testing::MadePacket;
using ::testing::Optional;

constexpr std::int64_t kTicksPerMillisecond = 27000;

class PacketClocks : public ::testing::Test {
 protected:
  void make(double kbps = 0) {
    clock.emplace(
        [this](std::string_view, std::optional<std::int64_t> time) {
          milliseconds.push_back(time ? static_cast<double>(*time) / 1e6 : -1);
        },
        kbps);
  }

  void put(unsigned pid = 0x200) { clock->take(MadePacket{pid}.bytes(), std::nullopt); }
  void putPcr(unsigned pid, std::int64_t ticks, bool discontinuity = false) {
    MadePacket packet{pid};
    packet.pcr = ticks;
    packet.discontinuity = discontinuity;
    clock->take(packet.bytes(), std::nullopt);
  }

  std::optional<PacketClock> clock;
  std::vector<double> milliseconds;  // of each packet; -1 for none
};

TEST_F(PacketClocks, ArrivalsGoBeforeAllElse) {
  make(1000);
  MadePacket packet{0x100};
  packet.pcr = 5;
  clock->take(packet.bytes(), 7000000);
  EXPECT_THAT(milliseconds, ElementsAre(7));
  EXPECT_EQ(clock->source(), TimeSource::kArrivals);
}

TEST_F(PacketClocks, BetweenPcrsAndAroundThemPacketsTakeAsLongAsOneAnother) {
  make();
  put();
  putPcr(0x100, 0);
  put();
  putPcr(0x100, 20 * kTicksPerMillisecond);  // 10 ms each
  put();
  put();
  put();
  putPcr(0x100, 24 * kTicksPerMillisecond);  // 1 ms each
  put();
  clock->finish();
  EXPECT_THAT(milliseconds, ElementsAre(0, 10, 20, 30, 31, 32, 33, 34, 35));
  EXPECT_EQ(clock->source(), TimeSource::kPcr);
  EXPECT_EQ(clock->pcrPid(), 0x100);
}

TEST_F(PacketClocks, OnlyThePcrsOfTheFirstPidCount) {
  make();
  putPcr(0x100, 0);
  putPcr(0x200, 1234567);
  putPcr(0x100, 20 * kTicksPerMillisecond);
  clock->finish();
  EXPECT_THAT(milliseconds, ElementsAre(0, 10, 20));
}

TEST_F(PacketClocks, OfAPacketWithAnErrorThePcrDoesNotCount) {
  make();
  putPcr(0x100, 0);
  MadePacket packet{0x100};
  packet.pcr = 1234567;
  packet.transportError = true;
  clock->take(packet.bytes(), std::nullopt);
  putPcr(0x100, 20 * kTicksPerMillisecond);
  clock->finish();
  EXPECT_THAT(milliseconds, ElementsAre(0, 10, 20));
}

TEST_F(PacketClocks, PcrsBeginAnewAfterTheirRange) {
  constexpr std::int64_t kRange = (std::int64_t{1} << 33) * 300;
  make();
  putPcr(0x100, kRange - 10 * kTicksPerMillisecond);
  putPcr(0x100, 10 * kTicksPerMillisecond);
  clock->finish();
  EXPECT_THAT(milliseconds, ElementsAre(0, 20));
}

TEST_F(PacketClocks, OverANewTimeItGoesOnAsBefore) {
  for (const bool isIndicated : {true, false}) {
    make();
    milliseconds.clear();
    putPcr(0x100, 0);
    putPcr(0x100, 10 * kTicksPerMillisecond);
    put();
    putPcr(0x100, (isIndicated ? 15 : 5000) * kTicksPerMillisecond, isIndicated);
    putPcr(0x100, ((isIndicated ? 15 : 5000) + 2) * kTicksPerMillisecond);
    clock->finish();
    EXPECT_THAT(milliseconds, ElementsAre(0, 10, 20, 30, 32)) << isIndicated;
  }
}

TEST_F(PacketClocks, WithoutPcrsTheGivenBitrateCounts) {
  make(1504);
  put();
  putPcr(0x100, 0);  // one is none
  put();
  clock->finish();
  EXPECT_THAT(milliseconds, ElementsAre(0, 1, 2));
  EXPECT_EQ(clock->source(), TimeSource::kBitrate);
}

TEST_F(PacketClocks, WithNeitherThereIsNoTime) {
  make();
  put();
  put();
  clock->finish();
  EXPECT_THAT(milliseconds, ElementsAre(-1, -1));
  EXPECT_EQ(clock->source(), TimeSource::kNone);
}

TEST_F(PacketClocks, WaitsForPcrsNoLongerThanItHasRoom) {
  make(1504);
  for (int i = 0; i < 70000; ++i) put();
  EXPECT_EQ(milliseconds.size(), 70000U);
  EXPECT_EQ(milliseconds.back(), 69999);
}

TEST_F(PacketClocks, AnotherPidTakesOverWhenThePcrsEnd) {
  make();
  putPcr(0x100, 0);
  putPcr(0x100, kTicksPerMillisecond);
  for (int i = 0; i < 70000; ++i) put();
  putPcr(0x200, 0);
  putPcr(0x200, 2 * kTicksPerMillisecond);
  clock->finish();
  ASSERT_EQ(milliseconds.size(), 70004U);
  EXPECT_DOUBLE_EQ(milliseconds[70001], 70001);
  EXPECT_DOUBLE_EQ(milliseconds[70003], 70004);
  EXPECT_EQ(clock->pcrPid(), 0x200);
}

}  // namespace
}  // namespace vantor::monitor
