#include "programs/monitor/ContinuityCheck.h"

#include <gtest/gtest.h>

#include "tests/programs/monitor/packets.h"

namespace vantor::monitor {
namespace {

using testing::MadePacket;

class ContinuityChecks : public ::testing::Test {
 protected:
  Continuity take(unsigned counter) { return take({0x100, counter}); }
  Continuity take(const MadePacket& packet) { return check.take(packet.bytes()); }

  static MadePacket withoutPayload(unsigned counter) { return {0x100, counter, false}; }

  ContinuityCheck check;
};

TEST_F(ContinuityChecks, CountersGoUpByOneAndBeginAnewAfterFifteen) {
  for (unsigned i = 9; i < 50; ++i) EXPECT_EQ(take(i % 16), Continuity::kWhole) << i;
}

TEST_F(ContinuityChecks, AMissingPacketIsABreakAndTheNextOneIsNot) {
  EXPECT_EQ(take(3), Continuity::kWhole);
  EXPECT_EQ(take(5), Continuity::kBroken);
  EXPECT_EQ(take(6), Continuity::kWhole);
}

TEST_F(ContinuityChecks, APacketMayComeTwiceButNotThreeTimes) {
  take(3);
  EXPECT_EQ(take(3), Continuity::kDoubled);
  EXPECT_EQ(take(4), Continuity::kWhole);
  EXPECT_EQ(take(4), Continuity::kDoubled);
  EXPECT_EQ(take(4), Continuity::kBroken);
}

TEST_F(ContinuityChecks, OtherBytesUnderTheSameCounterAreABreak) {
  MadePacket packet{0x100, 3};
  take(packet);
  packet.fill = 'y';
  EXPECT_EQ(take(packet), Continuity::kBroken);
}

TEST_F(ContinuityChecks, OfADoubledPacketThePcrMayDiffer) {
  MadePacket packet{0x100, 3};
  packet.pcr = 1000;
  take(packet);
  packet.pcr = 2000;
  EXPECT_EQ(take(packet), Continuity::kDoubled);
}

TEST_F(ContinuityChecks, WithoutPayloadTheCounterStays) {
  take(3);
  EXPECT_EQ(take(withoutPayload(3)), Continuity::kWhole);
  EXPECT_EQ(take(withoutPayload(3)), Continuity::kWhole);
  EXPECT_EQ(take(withoutPayload(4)), Continuity::kBroken);
  EXPECT_EQ(take(5), Continuity::kWhole);
}

TEST_F(ContinuityChecks, AnIndicatedDiscontinuityIsNone) {
  take(3);
  MadePacket packet{0x100, 9};
  packet.discontinuity = true;
  EXPECT_EQ(take(packet), Continuity::kWhole);
  EXPECT_EQ(take(10), Continuity::kWhole);
}

TEST_F(ContinuityChecks, WhatIsForgottenIsNoBreak) {
  take(3);
  check.forget();
  EXPECT_EQ(take(9), Continuity::kWhole);
  EXPECT_EQ(take(11), Continuity::kBroken);
}

}  // namespace
}  // namespace vantor::monitor
