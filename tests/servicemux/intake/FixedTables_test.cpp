#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "tests/servicemux/doubles/FailingGenerators.h"
#include "tests/servicemux/front/Intake.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vantor::serviceMux;

}  // namespace

TEST_F(Intake, NewPatIsLoggedSentAndReturnsItsVersion) {
  EXPECT_EQ(mux.newPAT(makePat(17)), 17);
  EXPECT_THAT(lines(), ElementsAre("7 [newPAT]", "5 [mux] New PAT 002a/v17 Size 1s/16b"));
  EXPECT_TRUE(isSent(0, 17));
}

TEST_F(Intake, NewCatIsLoggedSentAndReturnsItsVersion) {
  EXPECT_EQ(mux.newCAT(makeCat(3)), 3);
  EXPECT_THAT(lines(), ElementsAre("7 [newCAT]", "5 [mux] New CAT v3 Size=1s/18b"));
  EXPECT_TRUE(isSent(1, 3));
}

TEST_F(Intake, NewNitIsLoggedSentAndReturnsItsVersion) {
  EXPECT_EQ(mux.newNIT(makeNit(31)), 31);
  EXPECT_THAT(lines(), ElementsAre("7 [newNIT]", "5 [mux] New NITact 3001/v31 Size 1s/216b"));
  EXPECT_TRUE(isSent(0x10, 31));
}

TEST_F(Intake, NitIsSentAsThatOfTheActualNetwork) {
  mux.newNIT(makeNit(1));
  EXPECT_TRUE(sender.await([](const std::string& packet) { return byteAt(packet, kSection) == 0x40; }));
}

TEST_F(Intake, PatOf250ProgramsTakesThreeSections) {
  EXPECT_EQ(mux.newPAT(makePat(1, 250)), 1);
  EXPECT_THAT(lines(), ElementsAre("7 [newPAT]", "5 [mux] New PAT 002a/v1 Size 3s/1036b"));
}

TEST_F(Intake, PatOf100ProgramsTakesOneSection) {
  mux.newPAT(makePat(1, 100));
  EXPECT_THAT(lines(), ElementsAre("7 [newPAT]", "5 [mux] New PAT 002a/v1 Size 1s/412b"));
}

TEST_F(Intake, VersionAbove31IsSentAs0) {
  EXPECT_EQ(mux.newPAT(makePat(40)), 0);
  EXPECT_EQ(mux.newCAT(makeCat(32)), 0);
  EXPECT_EQ(mux.newNIT(makeNit(255)), 0);
  EXPECT_THAT(lines(), ElementsAre("7 [newPAT]", "5 [mux] New PAT 002a/v0 Size 1s/16b", "7 [newCAT]",
                                   "5 [mux] New CAT v0 Size=1s/18b", "7 [newNIT]",
                                   "5 [mux] New NITact 3001/v0 Size 1s/216b"));
  EXPECT_TRUE(isSent(0, 0));
  EXPECT_TRUE(isSent(1, 0));
  EXPECT_TRUE(isSent(0x10, 0));
}

TEST_F(Intake, VersionBeyond8BitsIsSentAs0Too) {
  EXPECT_EQ(mux.newPAT(makePat(256 + 5)), 0);
  EXPECT_TRUE(isSent(0, 0));
}

TEST_F(Intake, RecordThatCannotBeConvertedLeavesThePreviousTable) {
  mux.newPAT(makePat(1));
  mux.newCAT(makeCat(2));
  mux.newNIT(makeNit(3));
  lines();
  auto cat = makeCat(4);
  cat.descriptors.push_back(makeDescriptor(9, 256, 'x'));
  auto nit = makeNit(4);
  nit.network_id = 0x10000;
  EXPECT_EQ(mux.newPAT(makePat(4, 1, 0x2000)), -1);
  EXPECT_EQ(mux.newCAT(cat), -1);
  EXPECT_EQ(mux.newNIT(nit), -1);
  // The converter's own word on the field stands behind the entry line of each; nothing else does.
  EXPECT_THAT(lines(), ElementsAre("7 [newPAT]", StartsWith("3 PAT: "), "7 [newCAT]", StartsWith("3 CAT: "),
                                   "7 [newNIT]", StartsWith("3 NIT: ")));
  EXPECT_THAT(tables(), ElementsAre("PAT v1", "CAT v2", "NIT actual v3"));
}

TEST_F(Intake, TableWithoutSectionsLeavesThePreviousTableAndReturnsItsVersion) {
  mux.newPAT(makePat(1));
  mux.newCAT(makeCat(2));
  mux.newNIT(makeNit(3));
  lines();
  const FailingGenerators failing;
  EXPECT_EQ(mux.newPAT(makePat(4)), 4);
  EXPECT_EQ(mux.newCAT(makeCat(50)), 0);
  EXPECT_EQ(mux.newNIT(makeNit(6)), 6);
  EXPECT_THAT(lines(), ElementsAre("7 [newPAT]", "7 [newCAT]", "7 [newNIT]"));
  EXPECT_THAT(tables(), ElementsAre("PAT v1", "CAT v2", "NIT actual v3"));
}

TEST_F(Intake, ClearingNamesWhatWasOnAir) {
  mux.newCAT(makeCat(9));
  mux.newNIT(makeNit(10));
  lines();
  mux.clearCAT();
  mux.clearNIT();
  EXPECT_THAT(lines(), ElementsAre("5 [mux] Clearing CAT v9 Size 18b", "5 [mux] Clearing NITact v10 Size 216b"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(Intake, ClearingAgainWarns) {
  mux.newCAT(makeCat(9));
  mux.newNIT(makeNit(10));
  mux.clearCAT();
  mux.clearNIT();
  lines();
  mux.clearCAT();
  mux.clearNIT();
  EXPECT_THAT(lines(), ElementsAre("4 [mux] CAT already cleared", "4 [mux] NIT already cleared"));
}

TEST_F(Intake, ClearingWhatWasNeverSetWarns) {
  mux.clearCAT();
  mux.clearNIT();
  EXPECT_THAT(lines(), ElementsAre("4 [mux] CAT already cleared", "4 [mux] NIT already cleared"));
}

TEST_F(Intake, ClearedTableIsNotSentAnyMore) {
  mux.newNULLPkts(1);
  mux.newCAT(makeCat(1));
  ASSERT_TRUE(isSent(1, 1));
  mux.clearCAT();
  // One datagram may be on its way and a ring full of packets before it.
  const auto sent = mux.statistics().packets;
  while (mux.statistics().bytesSent < (sent + 7) * vantor::kPacketSize) std::this_thread::yield();
  sender.clear();
  ASSERT_TRUE(sender.await([](const std::string& packet) { return pidOf(packet) == 0x1FFF; }));
  for (const auto& packet : sender.packets()) EXPECT_NE(pidOf(packet), 1);
}

TEST_F(Intake, NewVersionTakesOver) {
  mux.newPAT(makePat(1));
  ASSERT_TRUE(isSent(0, 1));
  mux.newPAT(makePat(2));
  EXPECT_TRUE(isSent(0, 2));
  EXPECT_THAT(tables(), ElementsAre("PAT v2"));
}

TEST_F(Intake, NullPacketsAreSentAtTheirPeriod) {
  EXPECT_EQ(mux.newNULLPkts(250), 0);
  EXPECT_THAT(lines(), ElementsAre("7 [newNULLPkts]"));
  ASSERT_EQ(mux.tablesOnAir().size(), 1U);
  EXPECT_EQ(mux.tablesOnAir()[0].period, 250U);
  std::string null;
  serviceMux::getNULLPacket(null);
  EXPECT_TRUE(sender.await([&](const std::string& packet) { return packet == null; }));
}

TEST_F(Intake, NullPacketPeriod0IsHandedOnUnchanged) {
  EXPECT_EQ(mux.newNULLPkts(0), 0);
  ASSERT_EQ(mux.tablesOnAir().size(), 1U);
  EXPECT_EQ(mux.tablesOnAir()[0].period, 0U);
}

TEST_F(Intake, ClearedNullPacketsStop) {
  const auto isNull = [](const std::string& packet) { return pidOf(packet) == 0x1FFF; };
  mux.newNULLPkts(1);
  ASSERT_TRUE(sender.await(isNull));
  lines();
  EXPECT_EQ(mux.clearNULLPkts(), 0);
  EXPECT_THAT(lines(), ElementsAre("7 [clearNULLPkts]"));
  EXPECT_THAT(tables(), IsEmpty());
  // Whatever was on its way goes out before the first packet of a table that comes later.
  mux.newPAT(makePat(1, 250));
  ASSERT_TRUE(
      sender.await([](const std::string& packet) { return pidOf(packet) == 0 && counterOf(packet) == 10; }));
  const auto packets = sender.packets();
  const auto first =
      std::find_if(packets.begin(), packets.end(), [](const auto& packet) { return pidOf(packet) == 0; });
  EXPECT_EQ(std::count_if(first, packets.end(), isNull), 0);
}

TEST_F(Intake, EachTableBeginsAtCounter0) {
  mux.newPAT(makePat(1));
  mux.newCAT(makeCat(1));
  mux.newNIT(makeNit(1));
  mux.newSDTActual(makeSdt(1, 1, 1));
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.newEITpf({{0, {{0, makeEit(0x4E, 1, 1)}}}});
  mux.newSTT({});
  for (const unsigned short pid : {0x00, 0x01, 0x10, 0x11, 0x12, 0x100, 0x1FFB}) {
    const auto isOnPid = [pid](const std::string& packet) { return pidOf(packet) == pid; };
    ASSERT_TRUE(sender.await(isOnPid));
    const auto packets = sender.packets();
    EXPECT_EQ(counterOf(*std::find_if(packets.begin(), packets.end(), isOnPid)), 0) << pid;
  }
}

TEST_F(Intake, ClearAllTablesLeavesNullPacketsOnly) {
  mux.newPAT(makePat(1));
  mux.newCAT(makeCat(2));
  mux.newNIT(makeNit(3));
  mux.newNULLPkts(10);
  lines();
  mux.clearAllTables();
  EXPECT_EQ(lines().at(0), "7 [clearAllTables]");
  EXPECT_THAT(tables(), ElementsAre("null packets v-1"));
  sender.clear();
  EXPECT_TRUE(sender.await([](const std::string& packet) { return pidOf(packet) == 0x1FFF; }));
  mux.clearCAT();
  EXPECT_THAT(lines(), ElementsAre("4 [mux] CAT already cleared"));
}

TEST_F(Intake, TablesComeBackAfterClearAllTables) {
  mux.newPAT(makePat(1));
  ASSERT_TRUE(isSent(0, 1));
  mux.clearAllTables();
  mux.newPAT(makePat(2));
  EXPECT_TRUE(isSent(0, 2));
}
