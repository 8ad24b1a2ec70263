#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "interface/dvbpsi.h"
#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/OwnPeriods.h"
#include "tests/servicemux/doubles/StreamCalls.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;
using vantor::serviceMux;

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
  std::map<std::string, unsigned int> periods;
  for (const auto& table : mux.tablesOnAir()) periods[table.name] = table.period;
  const vantor::InsertionPeriods expected = ownPeriods();
  EXPECT_THAT(periods,
              UnorderedElementsAre(Pair("PAT", expected.pat), Pair("CAT", expected.cat),
                                   Pair("NIT actual", expected.nit), Pair("PMT 1", expected.pmt),
                                   Pair("SDT actual", expected.sdtActual), Pair("SDT other 2/1", expected.sdtOther),
                                   Pair("EIT p/f actual 1", expected.eitPresentFollowingActual),
                                   Pair("EIT p/f other 1", expected.eitPresentFollowingOther),
                                   Pair("EIT schedule actual 50 1", expected.eitScheduleActual),
                                   Pair("EIT schedule other 60 1", expected.eitScheduleOther),
                                   Pair("TDT", expected.timeUpdater), Pair("ATSC MGT", expected.mgt),
                                   Pair("ATSC VCT terrestrial", expected.vctTerrestrial),
                                   Pair("ATSC VCT cable", expected.vctCable), Pair("ATSC STT", expected.stt)));
}

TEST(InsertionPeriods, OfCAMessagesAreTheirOwn) {
  const OwnPeriods own;
  StreamCalls calls;
  serviceMux mux("mux", makeAddress(), "");
  const vantor::InsertionPeriods expected = ownPeriods();
  const std::string queued = "queue 188b " + std::to_string(8000U * 188 / expected.emmSpreading) + "bps";
  vantor::thrift::general::ScramblerConfig config;
  config.enabled = true;
  config.ecm_pids = {{1, {0x100}}};
  config.emm_pids = {{1, {0x200}}};
  for (const int type : {0, 3}) {
    config.scrambler_type = type;
    mux.setDRMConfig(config);
    vantor::thrift::general::simulCryptData message;
    message.data = "x";
    mux.setECM(message);
    mux.setEMM(message);
    vantor::thrift::simulcrypt::ECMItem ecm;
    ecm.pid = 0x100;
    ecm.data = "x";
    mux.setLiveECM(ecm);
    vantor::thrift::simulcrypt::EMMItem emm;
    emm.pid = 0x200;
    emm.data = "x";
    mux.setLiveEMM(emm);
    ASSERT_FALSE(mux.tablesOnAir().empty()) << type;
    EXPECT_EQ(mux.tablesOnAir()[0].period, expected.ecm) << type;
    EXPECT_THAT(calls.take(), ElementsAre(queued)) << type;
  }
}
