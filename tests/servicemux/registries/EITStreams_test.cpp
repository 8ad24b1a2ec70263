#include "servicemux/registries/EITStreams.h"

#include "tests/servicemux/registries/RegistryTest.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class EITStreamsTest : public RegistryTest {
 protected:
  bool add(unsigned char tableId, unsigned short sid) {
    std::string packets = makePacket(0x12, 0);
    return eits.newEIT(tableId, sid, packets, 1);
  }

  /// Puts an EIT of service 1 on air whose first section is filled like this.
  bool addOf(unsigned short tsid, unsigned short onid, unsigned char fill, unsigned char tableId = 0x4F) {
    std::string packets = makePacket(0x12, 0, fill);
    return eits.newEIT(tableId, 1, packets, 1, tsid, onid);
  }

  /// What is sent of service 1 and a stream; 0 when it has nothing on air.
  int fillOf(unsigned short tsid, unsigned short onid, unsigned char tableId = 0x4F) {
    const vantor::eit_data* const eit = eits.findEIT(tableId, 1, tsid, onid);
    if (eit == nullptr) return 0;
    std::string packets = makePacket(0x12, 0, 0xEE);
    eit->carrousel->replace_packetized_subtable(eit->subtable, packets, 1);  // which gives the old ones back
    const int fill = byteAt(packets, 100);
    eit->carrousel->replace_packetized_subtable(eit->subtable, packets, 1);
    return fill;
  }

  vantor::EITStreams eits{&output};
};

}  // namespace

TEST_F(EITStreamsTest, PeriodsFollowTheTableId) {
  const auto& periods = output.periods = ownPeriods();
  EXPECT_EQ(eits.getEITInsertionPeriod(0x4E), periods.eitPresentFollowingActual);
  EXPECT_EQ(eits.getEITInsertionPeriod(0x4F), periods.eitPresentFollowingOther);
  EXPECT_EQ(eits.getEITInsertionPeriod(0x50), periods.eitScheduleActual);
  EXPECT_EQ(eits.getEITInsertionPeriod(0x5F), periods.eitScheduleActual);
  EXPECT_EQ(eits.getEITInsertionPeriod(0x60), periods.eitScheduleOther);
  EXPECT_EQ(eits.getEITInsertionPeriod(0x6F), periods.eitScheduleOther);
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(eits.getEITInsertionPeriod(0x4D), periods.fallback);
  EXPECT_THAT(takeLines(log), ElementsAre("3 [getEITInsertionPeriod] Table id [0x4d] out of range!"));
}

TEST_F(EITStreamsTest, NewPeriodsAreTakenByTheirKinds) {
  for (const unsigned char tableId : {0x4E, 0x4F, 0x50, 0x6F}) add(tableId, 1);
  const auto& periods = output.periods = ownPeriods();
  eits.takePeriods();
  const auto tables = onAir(eits);
  EXPECT_EQ(tables.at(0).period, periods.eitPresentFollowingActual);
  EXPECT_EQ(tables.at(1).period, periods.eitPresentFollowingOther);
  EXPECT_EQ(tables.at(2).period, periods.eitScheduleActual);
  EXPECT_EQ(tables.at(3).period, periods.eitScheduleOther);
}

TEST_F(EITStreamsTest, SameTableIdAndServiceIsReplaced) {
  EXPECT_TRUE(add(0x4E, 0x102));
  EXPECT_TRUE(add(0x4E, 0x102));
  EXPECT_THAT(
      takeLines(log),
      ElementsAre("7 Add new EIT tid [0x004e] sid [0x0102]", "7 EIT not found tid [0x004e] sid [0x0102]",
                  "7 Add new EIT tid [0x004e] sid [0x0102]", "7 EIT found tid [0x004e] sid [0x0102] replace "));
  EXPECT_THAT(onAir(eits), SizeIs(1));
}

TEST_F(EITStreamsTest, InClassicANamesakeOfAnotherStreamTakesThePlace) {
  for (const unsigned char tableId : {0x4E, 0x4F, 0x50, 0x60}) {
    EXPECT_TRUE(addOf(1, 10, 'a', tableId));
    EXPECT_TRUE(addOf(2, 10, 'b', tableId));
    EXPECT_TRUE(addOf(2, 11, 'c', tableId));
    EXPECT_EQ(fillOf(2, 11, tableId), 'c') << "known under its own stream";
    EXPECT_EQ(eits.findEIT(tableId, 1, 1, 10), nullptr);
    EXPECT_EQ(eits.findEIT(tableId, 1, 2, 10), nullptr);
  }
  EXPECT_THAT(onAir(eits), SizeIs(4));
}

TEST_F(EITStreamsTest, InStandardsNamesakesOfSeveralStreamsAreAllOnAir) {
  output.muxer->setTimingProfile(vantor::TimingProfile::Standards);
  for (const unsigned char tableId : {0x4E, 0x4F, 0x50, 0x60}) {
    EXPECT_TRUE(addOf(1, 10, 'a', tableId));
    EXPECT_TRUE(addOf(2, 10, 'b', tableId));
    EXPECT_TRUE(addOf(2, 11, 'c', tableId));
    EXPECT_TRUE(addOf(2, 10, 'd', tableId));
    EXPECT_EQ(fillOf(1, 10, tableId), 'a');
    EXPECT_EQ(fillOf(2, 10, tableId), 'd') << "replaced by its update";
    EXPECT_EQ(fillOf(2, 11, tableId), 'c');
    EXPECT_EQ(eits.findEIT(tableId, 1), eits.findEIT(tableId, 1, 1, 10)) << "the first that was added";
  }
  EXPECT_THAT(onAir(eits), SizeIs(12));
}

TEST_F(EITStreamsTest, ClearingAServiceTakesItsTablesOfAllStreams) {
  output.muxer->setTimingProfile(vantor::TimingProfile::Standards);
  addOf(1, 10, 'a');
  addOf(2, 10, 'b');
  addOf(65535, 65535, 'c', 0x6F);
  add(0x4F, 2);
  add(0x4F, 0);
  eits.clearEIT(1);
  EXPECT_THAT(onAir(eits), SizeIs(2));
  EXPECT_NE(eits.findEIT(0x4F, 2), nullptr);
}

TEST_F(EITStreamsTest, ChangeOfTheProfileLosesNothing) {
  output.muxer->setTimingProfile(vantor::TimingProfile::Standards);
  addOf(3, 10, 'a');
  addOf(2, 10, 'b');
  output.muxer->setTimingProfile(vantor::TimingProfile::Classic);
  EXPECT_THAT(onAir(eits), SizeIs(2));
  addOf(2, 10, 'c');
  EXPECT_EQ(fillOf(3, 10), 'a');
  EXPECT_EQ(fillOf(2, 10), 'c') << "an update goes to its own stream";
  addOf(1, 10, 'd');
  EXPECT_EQ(fillOf(3, 10), 0) << "what was added first gives way to another stream";
  EXPECT_EQ(fillOf(1, 10), 'd');
  EXPECT_THAT(onAir(eits), SizeIs(2));
  output.muxer->setTimingProfile(vantor::TimingProfile::Standards);
  addOf(3, 10, 'e');
  EXPECT_EQ(fillOf(1, 10), 'd');
  EXPECT_EQ(fillOf(2, 10), 'c');
  EXPECT_EQ(fillOf(3, 10), 'e');
}

TEST_F(EITStreamsTest, RefusedUpdateLeavesTheStreamAsItWas) {
  addOf(1, 10, 'a');
  std::string none;
  EXPECT_FALSE(eits.newEIT(0x4F, 1, none, 0, 2, 10));
  EXPECT_EQ(fillOf(1, 10), 'a');
}

TEST_F(EITStreamsTest, ClearingAServiceTakesAllOfItsTables) {
  add(0x50, 0x102);
  add(0x4E, 0x102);
  add(0x51, 0x102);
  add(0x4E, 0x103);
  EXPECT_EQ(eits.findEIT(0x102), eits.findEIT(0x50, 0x102)) << "the first that was added";
  takeLines(log);
  eits.clearEIT(0x102);
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(eits.findEIT(0x102), nullptr);
  EXPECT_EQ(eits.findEIT(0x51, 0x102), nullptr);
  EXPECT_NE(eits.findEIT(0x4E, 0x103), nullptr);
  EXPECT_THAT(onAir(eits), SizeIs(1));
}

TEST_F(EITStreamsTest, UnknownServiceIsNothingToClear) {
  add(0x4E, 1);
  eits.clearEIT(2);
  EXPECT_THAT(onAir(eits), SizeIs(1));
}

TEST_F(EITStreamsTest, UnknownTableIdGetsTheFallbackPeriod) {
  EXPECT_TRUE(add(0x70, 1));
  EXPECT_EQ(onAir(eits).at(0).period, 10000U);
  EXPECT_THAT(takeLines(log), testing::Contains("3 [getEITInsertionPeriod] Table id [0x70] out of range!"));
}

TEST_F(EITStreamsTest, RefusedEITLeavesNothingBehind) {
  output.periods.eitPresentFollowingActual = 24;
  EXPECT_FALSE(add(0x4E, 1));
  EXPECT_EQ(eits.findEIT(0x4E, 1), nullptr);
  EXPECT_EQ(eits.findEIT(1), nullptr);
}

TEST_F(EITStreamsTest, AllCanBeClearedAndAddedAgain) {
  eits.clearAllEITs();
  for (unsigned short sid = 0; sid < 100; ++sid) add(0x4E, sid);
  eits.clearAllEITs();
  EXPECT_THAT(onAir(eits), IsEmpty());
  EXPECT_EQ(eits.findEIT(0x4E, 7), nullptr);
  EXPECT_TRUE(add(0x4E, 7));
  EXPECT_THAT(onAir(eits), SizeIs(1));
}

TEST_F(EITStreamsTest, UpdateReplacesWhatIsSent) {
  add(0x4E, 1);
  std::string packets = makePacket(0x12, 0, 'n');
  EXPECT_TRUE(eits.newEIT(0x4E, 1, packets, 1));
  EXPECT_EQ(firstPacket(*eits.findEIT(1)->carrousel), makePacket(0x12, 0, 'n'));
}

TEST_F(EITStreamsTest, UpdateWithoutPacketsIsRefused) {
  add(0x4E, 1);
  std::string none;
  EXPECT_FALSE(eits.newEIT(0x4E, 1, none, 0));
  EXPECT_EQ(firstPacket(*eits.findEIT(1)->carrousel), makePacket(0x12, 0));
}
