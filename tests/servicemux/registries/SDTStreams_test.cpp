#include "servicemux/registries/SDTStreams.h"

#include "tests/servicemux/registries/RegistryTest.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SDTStreamsTest : public RegistryTest {
 protected:
  bool add(unsigned char tableId, unsigned short tsid, unsigned short onid, unsigned char version = 1,
           unsigned int size = 60) {
    std::string packets = makePacket(0x11, 0);
    return sdts.newSDT(tableId, tsid, onid, packets, version, 2, size);
  }

  vantor::SDTStreams sdts{&output};
};

}  // namespace

TEST_F(SDTStreamsTest, PeriodsFollowTheTableId) {
  const auto& periods = output.periods = ownPeriods();
  EXPECT_EQ(sdts.getSDTInsertionPeriod(0x42), periods.sdtActual);
  EXPECT_EQ(sdts.getSDTInsertionPeriod(0x46), periods.sdtOther);
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(sdts.getSDTInsertionPeriod(0x4A), periods.fallback);
  EXPECT_THAT(takeLines(log), ElementsAre("3 [getSDTInsertionPeriod] Table id [0x4a] out of range!"));
}

TEST_F(SDTStreamsTest, NewPeriodsAreTakenByTheirKinds) {
  add(0x42, 1, 1);
  add(0x46, 2, 1);
  add(0x46, 3, 1);
  const auto& periods = output.periods = ownPeriods();
  sdts.takePeriods();
  const auto tables = onAir(sdts);
  EXPECT_EQ(tables.at(0).period, periods.sdtActual);
  EXPECT_EQ(tables.at(1).period, periods.sdtOther);
  EXPECT_EQ(tables.at(2).period, periods.sdtOther);
}

TEST_F(SDTStreamsTest, SecondSDTActualTakesTheFirstOnesPlace) {
  EXPECT_TRUE(add(0x42, 1, 0x20FA, 3, 70));
  EXPECT_TRUE(add(0x42, 2, 0x20FA, 4, 80));
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out] Add SDTact 0001/20fa/v3 Size 2s/70b",
                                          "5 [out] Update SDTact 0002/20fa/v4 Size 2s/80b"));
  EXPECT_EQ(output.sdtCarrousel->GetNumberSubTables(), 1U);
}

TEST_F(SDTStreamsTest, SDTOthersOfOneStreamAndTwoNetworksAreTwo) {
  add(0x46, 1, 10);
  add(0x46, 1, 11);
  add(0x46, 2, 10);
  add(0x42, 1, 10);
  takeLines(log);
  EXPECT_EQ(output.sdtCarrousel->GetNumberSubTables(), 4U);
  sdts.clearSDT(0x46, 1, -1);
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out]Clearing SDTo 0001/000a/v1 Size 60b",
                                          "5 [out]Clearing SDTo 0001/000b/v1 Size 60b"));
  EXPECT_EQ(output.sdtCarrousel->GetNumberSubTables(), 2U);
  EXPECT_NE(sdts.findSDT(0x46, 2, 10), nullptr);
  EXPECT_NE(sdts.findSDT(0x42, -1, -1), nullptr);
}

TEST_F(SDTStreamsTest, ClearingTellsTheVersionOfTheFirst) {
  add(0x46, 1, 10, 5, 60);
  add(0x46, 1, 10, 6, 90);
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out] Add SDTo 0001/000a/v5 Size 2s/60b",
                                          "5 [out] Update SDTo 0001/000a/v6 Size 2s/90b"));
  sdts.clearSDT(0x46, -1, -1);
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out]Clearing SDTo 0001/000a/v5 Size 60b"));
}

TEST_F(SDTStreamsTest, IdentifiersAbove16BitsMatchNothing) {
  add(0x46, 1, 10);
  EXPECT_EQ(sdts.findSDT(0x46, 0x10001, 10), nullptr);
  EXPECT_EQ(sdts.findSDT(0x46, 1, -65526), nullptr);
}

TEST_F(SDTStreamsTest, UnknownTableIdGetsTheFallbackPeriod) {
  EXPECT_TRUE(add(0x4A, 1, 10));
  EXPECT_THAT(takeLines(log), ElementsAre("5 [out] Add Unknown 0001/000a/v1 Size 2s/60b",
                                          "3 [getSDTInsertionPeriod] Table id [0x4a] out of range!"));
  EXPECT_EQ(onAir(sdts).at(0).period, 10000U);
}

TEST_F(SDTStreamsTest, RefusedSDTLeavesNothingBehind) {
  output.periods.sdtActual = 24;
  EXPECT_FALSE(add(0x42, 1, 10));
  EXPECT_EQ(sdts.findSDT(0x42, 1, 10), nullptr);
  EXPECT_EQ(output.sdtCarrousel.use_count(), 1);
}

TEST_F(SDTStreamsTest, CarrouselOutlivesItsTables) {
  sdts.clearAllSDTs();
  sdts.clearSDT(0x46, 1, 1);
  add(0x42, 1, 10);
  add(0x46, 2, 10);
  takeLines(log);
  sdts.clearAllSDTs();
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(output.sdtCarrousel->GetNumberSubTables(), 0U);
  EXPECT_EQ(output.sdtCarrousel.use_count(), 1);
}

TEST_F(SDTStreamsTest, UpdateReplacesWhatIsSent) {
  add(0x42, 1, 1);
  std::string packets = makePacket(0x11, 0, 'n');
  EXPECT_TRUE(sdts.newSDT(0x42, 1, 1, packets, 2, 1, 40));
  EXPECT_EQ(firstPacket(*output.sdtCarrousel), makePacket(0x11, 0, 'n'));
}

TEST_F(SDTStreamsTest, UpdateWithoutPacketsIsRefused) {
  add(0x42, 1, 1);
  takeLines(log);
  std::string none;
  EXPECT_FALSE(sdts.newSDT(0x42, 1, 1, none, 2, 0, 0));
  EXPECT_THAT(takeLines(log), IsEmpty());
  EXPECT_EQ(firstPacket(*output.sdtCarrousel), makePacket(0x11, 0));
}
