#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <map>
#include <thread>

#include "interface/dvbpsi.h"
#include "tests/servicemux/doubles/OwnPeriods.h"
#include "tests/servicemux/doubles/StreamCalls.h"
#include "tests/servicemux/front/Intake.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;
using vantor::serviceMux;

void putAllOnAir(serviceMux& mux) {
  mux.newPAT(makePat(1));
  mux.newCAT(makeCat(1));
  mux.newNIT(makeNit(1));
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.newSDTActual(makeSdt(1, 1, 1));
  mux.newSDTOthers(makeSdt(2, 1, 1));
  mux.newEITpf({{0, {{0, makeEit(0x4E, 1, 1)}, {1, makeEit(0x4F, 1, 1)}}}});
  mux.newEITsch({{0, {{0, makeEit(0x50, 1, 1)}, {1, makeEit(0x60, 1, 1)}}}});
  mux.setLocalTimeOffsetTable({});
  mux.newMGT({});
  mux.newVCT(makeVct(0xC8, 1));
  mux.newVCT(makeVct(0xC9, 1));
  mux.newSTT({});
}

std::map<std::string, unsigned int> periodsOnAir(const serviceMux& mux) {
  std::map<std::string, unsigned int> periods;
  for (const auto& table : mux.tablesOnAir()) periods[table.name] = table.period;
  return periods;
}

/// What periodsOnAir() gives when all tables are on air with these periods.
auto AreThoseOf(const vantor::InsertionPeriods& expected) {
  return UnorderedElementsAre(
      Pair("PAT", expected.pat), Pair("CAT", expected.cat), Pair("NIT actual", expected.nit),
      Pair("PMT 1", expected.pmt), Pair("SDT actual", expected.sdtActual), Pair("SDT other 2/1", expected.sdtOther),
      Pair("EIT p/f actual 1", expected.eitPresentFollowingActual),
      Pair("EIT p/f other 1", expected.eitPresentFollowingOther),
      Pair("EIT schedule actual 50 1", expected.eitScheduleActual),
      Pair("EIT schedule other 60 1", expected.eitScheduleOther), Pair("TDT", expected.timeUpdater),
      Pair("ATSC MGT", expected.mgt), Pair("ATSC VCT terrestrial", expected.vctTerrestrial),
      Pair("ATSC VCT cable", expected.vctCable), Pair("ATSC STT", expected.stt));
}

vantor::thrift::general::ScramblerConfig makeScrambler(int type) {
  vantor::thrift::general::ScramblerConfig config;
  config.enabled = true;
  config.scrambler_type = type;
  config.ecm_pids = {{1, {0x100, 0x101}}};
  config.emm_pids = {{1, {0x200}}};
  return config;
}

vantor::thrift::simulcrypt::ECMItem makeEcm(int pid) {
  vantor::thrift::simulcrypt::ECMItem ecm;
  ecm.pid = pid;
  ecm.data = "x";
  return ecm;
}

vantor::thrift::simulcrypt::EMMItem makeEmm() {
  vantor::thrift::simulcrypt::EMMItem emm;
  emm.pid = 0x200;
  emm.data = "x";
  return emm;
}

vantor::thrift::general::simulCryptData makeMessage() {
  vantor::thrift::general::simulCryptData message;
  message.data = "x";
  return message;
}

/// Periods that a multiplex is given.
class SetPeriods : public Intake {
 protected:
  unsigned int periodOn(unsigned short pid) const {
    for (const auto& table : mux.tablesOnAir())
      if (table.pid == pid) return table.period;
    return 0;
  }
};

}  // namespace

TEST(InsertionPeriods, AreTheseUnlessTheyAreSet) {
  const vantor::InsertionPeriods periods;
  EXPECT_EQ(periods.pat, 200U);
  EXPECT_EQ(periods.pmt, 200U);
  EXPECT_EQ(periods.cat, 200U);
  EXPECT_EQ(periods.sdtActual, 500U);
  EXPECT_EQ(periods.sdtOther, 10000U);
  EXPECT_EQ(periods.eitPresentFollowingActual, 2000U);
  EXPECT_EQ(periods.eitPresentFollowingOther, 10000U);
  EXPECT_EQ(periods.eitScheduleActual, 30000U);
  EXPECT_EQ(periods.eitScheduleOther, 60000U);
  EXPECT_EQ(periods.nit, 500U);
  EXPECT_EQ(periods.timeUpdater, 1000U);
  EXPECT_EQ(periods.mgt, 150U);
  EXPECT_EQ(periods.vctTerrestrial, 400U);
  EXPECT_EQ(periods.vctCable, 400U);
  EXPECT_EQ(periods.rrt, 60000U);
  EXPECT_EQ(periods.stt, 1000U);
  EXPECT_EQ(periods.ecm, 100U);
  EXPECT_EQ(periods.emmSpreading, 500U);
  EXPECT_EQ(periods.fallback, 10000U);
  EXPECT_EQ(periods.nullPackets, 10U);
}

TEST(InsertionPeriods, OfEachTableAreItsOwn) {
  const OwnPeriods own;
  serviceMux mux("mux", makeAddress(), "");
  putAllOnAir(mux);
  EXPECT_THAT(periodsOnAir(mux), AreThoseOf(ownPeriods()));
}

TEST(InsertionPeriods, OfCAMessagesAreTheirOwn) {
  const OwnPeriods own;
  StreamCalls calls;
  serviceMux mux("mux", makeAddress(), "");
  const vantor::InsertionPeriods expected = ownPeriods();
  const std::string queued = "queue 188b " + std::to_string(8000U * 188 / expected.emmSpreading) + "bps";
  for (const int type : {0, 3}) {
    mux.setDRMConfig(makeScrambler(type));
    mux.setECM(makeMessage());
    mux.setEMM(makeMessage());
    mux.setLiveECM(makeEcm(0x100));
    mux.setLiveEMM(makeEmm());
    ASSERT_FALSE(mux.tablesOnAir().empty()) << type;
    EXPECT_EQ(mux.tablesOnAir()[0].period, expected.ecm) << type;
    EXPECT_THAT(calls.take(), ElementsAre(queued)) << type;
  }
}

TEST_F(SetPeriods, AreTakenByWhatIsOnAirAndByWhatComes) {
  putAllOnAir(mux);
  EXPECT_THAT(periodsOnAir(mux), AreThoseOf(vantor::InsertionPeriods()));
  EXPECT_TRUE(mux.setInsertionPeriods(ownPeriods()));
  EXPECT_THAT(periodsOnAir(mux), AreThoseOf(ownPeriods()));
  mux.clearAllTables();
  mux.clearLocalTimeOffsetTable();
  putAllOnAir(mux);
  EXPECT_THAT(periodsOnAir(mux), AreThoseOf(ownPeriods()));
}

TEST_F(SetPeriods, ChangeThePaceWithoutAGapOrARestart) {
  vantor::InsertionPeriods periods;
  periods.pat = periods.pmt = 25;
  mux.newPAT(makePat(1));
  mux.newPMT(makePmt(1, 1), 0x100);
  ASSERT_TRUE(isSent(0, 1));
  ASSERT_TRUE(isSent(0x100, 1));
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  const auto begun = std::chrono::steady_clock::now();
  for (const unsigned short pid : {0, 0x100})
    ASSERT_TRUE(
        sender.await([=](const std::string& packet) { return pidOf(packet) == pid && counterOf(packet) == 15; }));
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2)) << "15 periods of 200 ms are 3 s";
  std::map<unsigned short, unsigned char> next;
  for (const auto& packet : sender.packets()) EXPECT_EQ(counterOf(packet), next[pidOf(packet)]++ % 16);
  for (const auto& table : mux.tablesOnAir()) EXPECT_GE(table.repetitions, 15U) << table.name;
}

TEST_F(SetPeriods, AreWhatTheTimingOfTheStandardsReckonsWith) {
  const auto required = [&](double kbps) {
    while (std::abs(mux.statistics().required - kbps) > 0.01) std::this_thread::yield();
    return mux.statistics().required;
  };
  mux.newPAT(makePat(1));
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.setTimingProfile(vantor::TimingProfile::Standards);
  EXPECT_NEAR(required(2 * 7.52), 15.04, 0.01);
  vantor::InsertionPeriods periods;
  periods.pat = periods.pmt = 100;
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  EXPECT_NEAR(mux.statistics().required, 30.08, 0.01);
}

TEST_F(SetPeriods, ThatAreRefusedChangeNothing) {
  putAllOnAir(mux);
  lines();
  vantor::InsertionPeriods periods = ownPeriods();
  periods.sdtOther = 65536;
  EXPECT_FALSE(mux.setInsertionPeriods(periods));
  EXPECT_THAT(lines(), ElementsAre("7 [setInsertionPeriods]",
                                   "3 [mux] setInsertionPeriods: sdt_other: 65536 ms is above 65535 ms"));
  EXPECT_THAT(periodsOnAir(mux), AreThoseOf(vantor::InsertionPeriods()));
  mux.clearAllTables();
  putAllOnAir(mux);
  EXPECT_THAT(periodsOnAir(mux), AreThoseOf(vantor::InsertionPeriods()));
}

TEST_F(SetPeriods, AboveAMaximumAreTakenWithAWarning) {
  vantor::InsertionPeriods periods;
  periods.pat = 501;
  periods.stt = 1001;
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  EXPECT_THAT(lines(),
              ElementsAre("7 [setInsertionPeriods]",
                          "4 [mux] setInsertionPeriods: pat: 501 ms is above the 500 ms of TR 101 290",
                          "4 [mux] setInsertionPeriods: stt: 1001 ms is above the 1000 ms of ATSC A/65 clause 7"));
  mux.newPAT(makePat(1));
  EXPECT_EQ(periodOn(0), 501U);
}

TEST_F(SetPeriods, LeaveNullPacketsAlone) {
  mux.newNULLPkts(60000);
  vantor::InsertionPeriods periods;
  periods.nullPackets = 3;
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  EXPECT_EQ(periodOn(0x1FFF), 60000U);
}

TEST_F(SetPeriods, OfEcmsAreTakenByAllThatBroughtNone) {
  vantor::InsertionPeriods periods;
  periods.ecm = 300;
  mux.setDRMConfig(makeScrambler(0));
  mux.setECM(makeMessage());
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  EXPECT_EQ(periodOn(0x21), 300U);
  mux.setDRMConfig(makeScrambler(3));
  mux.setLiveECM(makeEcm(0x100));
  auto own = makeEcm(0x101);
  own.format = 1;
  own.data = makePacket(0x101, 0);
  own.period = 300;
  mux.setLiveECM(own);
  EXPECT_EQ(periodOn(0x100), 300U) << "that of a stream made later";
  periods.ecm = 400;
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  EXPECT_EQ(periodOn(0x100), 400U);
  EXPECT_EQ(periodOn(0x101), 300U) << "the message's";
}

TEST_F(SetPeriods, OfEmmsAreTheTimeOfTheNextSet) {
  StreamCalls calls;
  vantor::InsertionPeriods periods;
  periods.emmSpreading = 1000;
  EXPECT_TRUE(mux.setInsertionPeriods(periods));
  mux.setDRMConfig(makeScrambler(0));
  mux.setEMM(makeMessage());
  mux.setDRMConfig(makeScrambler(3));
  mux.setLiveEMM(makeEmm());
  EXPECT_THAT(calls.take(), ElementsAre("queue 188b 1504bps", "queue 188b 1504bps"));
}
