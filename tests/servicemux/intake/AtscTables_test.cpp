#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/servicemux/doubles/FailingSections.h"
#include "tests/servicemux/doubles/StreamCalls.h"
#include "tests/servicemux/front/Intake.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vantor::thrift::dvb_tables::LocalTimeOffset;
using vantor::thrift::dvb_tables::MGT;
using vantor::thrift::dvb_tables::MGTTable;

constexpr unsigned short kPsipPid = 0x1FFB;
constexpr int kMgt = 0xC7;
constexpr int kTerrestrialVct = 0xC8;
constexpr int kCableVctTableId = 0xC9;
constexpr int kStt = 0xCD;

MGT makeMgt(int version, int tables = 1) {
  MGT mgt;
  mgt.version_number = version;
  for (int i = 0; i < tables; ++i) {
    MGTTable table;
    table.table_type = i;
    table.table_type_pid = kPsipPid;
    table.number_bytes = 100;
    mgt.tables.push_back(table);
  }
  return mgt;
}

class PsipTables : public Intake {
 protected:
  /// Waits for a section with this table_id and section_number, and returns its version.
  int sentVersion(int tableId, int number = 0) {
    int version = -1;
    const bool sent = sender.await([&](const std::string& packet) {
      const bool wanted = pidOf(packet) == kPsipPid && startsPayloadUnit(packet) &&
                          byteAt(packet, kSection) == tableId && byteAt(packet, kSection + 6) == number;
      if (wanted) version = versionOf(packet);
      return wanted;
    });
    return sent ? version : -1;
  }
};

}  // namespace

TEST_F(PsipTables, NewMgtIsLoggedAndSent) {
  EXPECT_EQ(mux.newMGT(makeMgt(7)), 7);
  EXPECT_THAT(lines(), ElementsAre("4 [newMGT]", "6 New MGT TID [0xc7] V [7]", "4 Add new PSIP table [0x00c7]",
                                   "4 PSIP table not found [0x00c7]", "4 PSIP empty carrousel."));
  EXPECT_EQ(sentVersion(kMgt), 7);
  EXPECT_THAT(tables(), ElementsAre("ATSC MGT v7"));
}

TEST_F(PsipTables, NewVctIsLoggedAndSentAsItsTableIdSays) {
  EXPECT_EQ(mux.newVCT(makeVct(kTerrestrialVct, 3)), 3);
  EXPECT_EQ(mux.newVCT(makeVct(kCableVctTableId, 4)), 4);
  EXPECT_THAT(lines(), ElementsAre("4 [newVCT]", "6 New VCT TID [0xc8] V [3]", "4 Add new PSIP table [0x00c8]",
                                   "4 PSIP table not found [0x00c8]", "4 PSIP empty carrousel.", "4 [newVCT]",
                                   "6 New VCT TID [0xc9] V [4]", "4 Add new PSIP table [0x00c9]",
                                   "4 PSIP table not found [0x00c9]", "4 PSIP carrousel use count [2]"));
  EXPECT_EQ(sentVersion(kTerrestrialVct), 3);
  EXPECT_EQ(sentVersion(kCableVctTableId), 4);
}

TEST_F(PsipTables, NewSttIsSentThoughItReturnsMinus1) {
  EXPECT_EQ(mux.newSTT(LocalTimeOffset()), -1);
  EXPECT_THAT(lines(), ElementsAre("4 [newSTT]", "6 New STT generation request.", "4 Add new PSIP table [0x00cd]",
                                   "4 PSIP table not found [0x00cd]", "4 PSIP empty carrousel."));
  EXPECT_EQ(sentVersion(kStt), 0);
}

TEST_F(PsipTables, VersionAbove31IsSentAndLoggedAs0) {
  EXPECT_EQ(mux.newMGT(makeMgt(33)), 0);
  EXPECT_EQ(lines().at(1), "6 New MGT TID [0xc7] V [0]");
  EXPECT_EQ(mux.newVCT(makeVct(kTerrestrialVct, 32)), 0);
  EXPECT_EQ(lines().at(1), "6 New VCT TID [0xc8] V [0]");
  EXPECT_EQ(sentVersion(kMgt), 0);
  EXPECT_EQ(sentVersion(kTerrestrialVct), 0);
}

TEST_F(PsipTables, TablesThatOutgrowASectionAreSentInTwo) {
  EXPECT_EQ(mux.newMGT(makeMgt(1, 400)), 1);
  EXPECT_EQ(mux.newVCT(makeVct(kTerrestrialVct, 2, 32)), 2);
  EXPECT_EQ(sentVersion(kMgt, 1), 1);
  EXPECT_EQ(sentVersion(kTerrestrialVct, 1), 2);
}

TEST_F(PsipTables, MgtCountsAsOneSectionAndTheVctWithAllOfThem) {
  StreamCalls calls;
  mux.newMGT(makeMgt(1, 400));
  mux.newMGT(makeMgt(2, 400));
  mux.newVCT(makeVct(kTerrestrialVct, 1, 32));
  mux.newVCT(makeVct(kTerrestrialVct, 2));
  mux.newVCT(makeVct(kCableVctTableId, 1, 32));
  EXPECT_THAT(calls.take(), ElementsAre("new c7 1s", "replace c7 1s", "new c8 2s", "replace c8 1s", "new c9 2s"));
}

TEST_F(PsipTables, TablesWithoutSectionsLeaveThePreviousOnesAndReturnTheirVersion) {
  mux.newMGT(makeMgt(1));
  mux.newVCT(makeVct(kTerrestrialVct, 2));
  lines();
  const FailingSections failing;
  EXPECT_EQ(mux.newMGT(makeMgt(3)), 3);
  EXPECT_EQ(mux.newVCT(makeVct(kTerrestrialVct, 40)), 0);
  EXPECT_EQ(mux.newVCT(makeVct(kCableVctTableId, 5)), 5);
  EXPECT_THAT(lines(), ElementsAre("4 [newMGT]", "6 New MGT TID [0xc7] V [3]", "4 [newVCT]",
                                   "6 New VCT TID [0xc8] V [0]", "4 [newVCT]", "6 New VCT TID [0xc9] V [5]"));
  EXPECT_THAT(tables(), ElementsAre("ATSC MGT v1", "ATSC VCT terrestrial v2"));
}

TEST_F(PsipTables, RefusedRecordsLeaveThePreviousTables) {
  mux.newMGT(makeMgt(1));
  mux.newVCT(makeVct(kTerrestrialVct, 2));
  lines();
  auto mgt = makeMgt(3);
  mgt.tables[0].table_type_pid = 0x2000;
  auto vct = makeVct(kTerrestrialVct, 4);
  vct.channels[0].program_number = 0x10000;
  EXPECT_EQ(mux.newMGT(mgt), -1);
  EXPECT_EQ(mux.newVCT(vct), -1);
  EXPECT_THAT(lines(), ElementsAre("4 [newMGT]", StartsWith("3 MGT: "), "4 [newVCT]", StartsWith("3 VCT: ")));
  EXPECT_THAT(tables(), ElementsAre("ATSC MGT v1", "ATSC VCT terrestrial v2"));
}

TEST_F(PsipTables, ClearingTheVctRemovesBothKinds) {
  mux.newVCT(makeVct(kTerrestrialVct, 1));
  mux.newMGT(makeMgt(2));
  mux.clearVCT();
  EXPECT_THAT(tables(), ElementsAre("ATSC MGT v2"));
  mux.newVCT(makeVct(kTerrestrialVct, 1));
  mux.newVCT(makeVct(kCableVctTableId, 1));
  lines();
  mux.clearVCT();
  EXPECT_THAT(lines(), ElementsAre("4 [clearVCT]"));
  EXPECT_THAT(tables(), ElementsAre("ATSC MGT v2"));
}

TEST_F(PsipTables, CableIsClearedBeforeTerrestrial) {
  StreamCalls calls;
  mux.newVCT(makeVct(kTerrestrialVct, 1));
  mux.newVCT(makeVct(kCableVctTableId, 1));
  mux.clearVCT();
  EXPECT_THAT(calls.take(), ElementsAre("new c8 1s", "new c9 1s", "clear c9", "clear c8"));
}

TEST_F(PsipTables, EachIsClearedByItself) {
  mux.newMGT(makeMgt(1));
  mux.newSTT(LocalTimeOffset());
  lines();
  mux.clearMGT();
  EXPECT_THAT(tables(), ElementsAre("ATSC STT v0"));
  mux.clearSTT();
  EXPECT_THAT(lines(), ElementsAre("4 [clearMGT]", "4 [clearSTT]"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(PsipTables, ClearAllTablesTakesThemOffAir) {
  mux.newMGT(makeMgt(1));
  mux.newVCT(makeVct(kCableVctTableId, 1));
  mux.newSTT(LocalTimeOffset());
  mux.clearAllTables();
  EXPECT_THAT(tables(), IsEmpty());
}
