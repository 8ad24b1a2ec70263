#include "servicemux/output/periodFields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/servicemux/registries/ownPeriods.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using vantor::findPeriodField;
using vantor::InsertionPeriods;
using vantor::PeriodField;
using vantor::Refusal;

/// Values of the periods by their names.
std::map<std::string, unsigned int> valuesOf(const InsertionPeriods& periods) {
  std::map<std::string, unsigned int> values;
  for (const PeriodField& field : vantor::periodFields()) values[field.name] = periods.*field.value;
  return values;
}

InsertionPeriods with(const char* name, unsigned int period) {
  InsertionPeriods periods;
  periods.*findPeriodField(name)->value = period;
  return periods;
}

}  // namespace

TEST(PeriodFields, HaveANameForEachPeriodOfATable) {
  const InsertionPeriods own = ownPeriods();
  EXPECT_THAT(
      valuesOf(own),
      UnorderedElementsAre(
          Pair("pat", own.pat), Pair("pmt", own.pmt), Pair("cat", own.cat), Pair("nit", own.nit),
          Pair("sdt_actual", own.sdtActual), Pair("sdt_other", own.sdtOther),
          Pair("eit_pf_actual", own.eitPresentFollowingActual), Pair("eit_pf_other", own.eitPresentFollowingOther),
          Pair("eit_schedule_actual", own.eitScheduleActual), Pair("eit_schedule_other", own.eitScheduleOther),
          Pair("time", own.timeUpdater), Pair("mgt", own.mgt), Pair("vct_terrestrial", own.vctTerrestrial),
          Pair("vct_cable", own.vctCable), Pair("rrt", own.rrt), Pair("stt", own.stt), Pair("ecm", own.ecm),
          Pair("emm", own.emmSpreading)));
}

TEST(PeriodFields, AreFoundByTheirWholeName) {
  for (const PeriodField& field : vantor::periodFields()) EXPECT_EQ(findPeriodField(field.name), &field);
  for (const char* name : {"", "pa", "patt", "PAT", "null_packets", "fallback"})
    EXPECT_EQ(findPeriodField(name), nullptr) << name;
}

TEST(PeriodFields, TheLibrarysOwnPeriodsBreakNoLimit) {
  EXPECT_EQ(check(InsertionPeriods()), std::nullopt);
  EXPECT_THAT(warningsOf(InsertionPeriods()), IsEmpty());
}

TEST(PeriodFields, EachIsAtLeast25Milliseconds) {
  for (const PeriodField& field : vantor::periodFields()) {
    EXPECT_EQ(check(with(field.name, 25)), std::nullopt) << field.name;
    const Refusal refusal{std::string("/") + field.name, "24 ms", "is below 25 ms"};
    EXPECT_EQ(check(with(field.name, 24)), refusal);
    EXPECT_EQ(check(field, 24), refusal);
    EXPECT_EQ(check(field, 25), std::nullopt);
  }
  EXPECT_EQ(check(*findPeriodField("nit"), -1), (Refusal{"/nit", "-1 ms", "is below 25 ms"}));
}

TEST(PeriodFields, ThoseOfSdtAndEitHave16BitsAndNoOtherIsLongerThanAnHour) {
  for (const PeriodField& field : vantor::periodFields()) {
    const std::string name = field.name;
    const bool has16Bits = name.rfind("sdt", 0) == 0 || name.rfind("eit", 0) == 0;
    const unsigned int longest = has16Bits ? 65535 : 3600000;
    EXPECT_EQ(check(with(field.name, longest)), std::nullopt) << name;
    const Refusal refusal{"/" + name, std::to_string(longest + 1) + " ms",
                          "is above " + std::to_string(longest) + " ms"};
    EXPECT_EQ(check(with(field.name, longest + 1)), refusal);
    EXPECT_EQ(check(field, longest + 1), refusal);
    EXPECT_EQ(check(with(field.name, 0xFFFFFFFF))->path, "/" + name);
  }
}

TEST(PeriodFields, ThoseWithoutANameAreNotLookedAt) {
  InsertionPeriods periods;
  periods.nullPackets = 0;
  periods.fallback = 1;
  EXPECT_EQ(check(periods), std::nullopt);
}

TEST(PeriodFields, MaximaOfTheStandardsAreWarningsAndNothingElse) {
  const std::map<std::string, unsigned int> maxima{{"pat", 500},
                                                   {"pmt", 500},
                                                   {"cat", 500},
                                                   {"nit", 10000},
                                                   {"sdt_actual", 2000},
                                                   {"sdt_other", 10000},
                                                   {"eit_pf_actual", 2000},
                                                   {"eit_pf_other", 10000},
                                                   {"eit_schedule_actual", 30000},
                                                   {"eit_schedule_other", 60000},
                                                   {"time", 30000},
                                                   {"mgt", 150},
                                                   {"vct_terrestrial", 400},
                                                   {"vct_cable", 400},
                                                   {"rrt", 60000},
                                                   {"stt", 1000}};
  for (const PeriodField& field : vantor::periodFields()) {
    const auto maximum = maxima.find(field.name);
    if (maximum == maxima.end()) {
      EXPECT_THAT(warningsOf(with(field.name, field.longest)), IsEmpty()) << field.name;
      continue;
    }
    EXPECT_THAT(warningsOf(with(field.name, maximum->second)), IsEmpty()) << field.name;
    EXPECT_EQ(check(with(field.name, maximum->second + 1)), std::nullopt) << field.name;
    EXPECT_THAT(warningsOf(with(field.name, maximum->second + 1)),
                ElementsAre(testing::StartsWith(std::string(field.name) + ": ")));
  }
}

TEST(PeriodFields, WarningsSayWhoseMaximumItIs) {
  InsertionPeriods periods;
  periods.pat = 600;
  periods.eitPresentFollowingOther = 15000;
  EXPECT_THAT(warningsOf(periods),
              ElementsAre("pat: 600 ms is above the 500 ms of TR 101 290",
                          "eit_pf_other: 15000 ms is above the 10000 ms of TS 101 211 clause 4.4 (20000 ms on "
                          "terrestrial networks)"));
}
