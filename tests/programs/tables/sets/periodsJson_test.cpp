#include "programs/tables/sets/periodsJson.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"
#include "servicemux/output/periodFields.h"

namespace vantor::tables::periodsJson_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

std::string errorOf(const std::string& periods) {
  try {
    readTableSet(R"({"periods": )" + periods + "}");
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(PeriodsJson, ReadsThePeriodsThatAreGiven) {
  EXPECT_THAT(readTableSet(R"({"periods": {"stt": 500, "pat": 25}})").periods,
              ElementsAre(Pair("pat", 25U), Pair("stt", 500U)));
  EXPECT_THAT(readTableSet("{}").periods, IsEmpty());
  EXPECT_THAT(readTableSet(R"({"periods": {}})").periods, IsEmpty());
}

TEST(PeriodsJson, KnowsEveryNameOfTheLibrary) {
  for (const PeriodField& field : periodFields()) {
    const TableSet set = readTableSet(std::string(R"({"periods": {")") + field.name + R"(": 777}})");
    EXPECT_EQ(periodsOf(set).*field.value, 777U) << field.name;
    EXPECT_EQ(readTableSet(writeTableSet(set)).periods, set.periods);
  }
}

TEST(PeriodsJson, NamesPathAndValueOfWhatItRefuses) {
  EXPECT_EQ(errorOf(R"({"pat": 100, "bat": 100})"), "/periods/bat: unknown field");
  EXPECT_EQ(errorOf(R"({"null_packets": 100})"), "/periods/null_packets: unknown field");
  EXPECT_EQ(errorOf(R"({"pat": 24})"), "/periods/pat: 24 ms is below 25 ms");
  EXPECT_EQ(errorOf(R"({"pat": -1})"), "/periods/pat: -1 ms is below 25 ms");
  EXPECT_EQ(errorOf(R"({"sdt_other": 65536})"), "/periods/sdt_other: 65536 ms is above 65535 ms");
  EXPECT_EQ(errorOf(R"({"nit": 4294967396})"), "/periods/nit: 4294967396 ms is above 3600000 ms");
  EXPECT_EQ(errorOf(R"({"pat": "200"})"), "/periods/pat: \"200\" is not an integer");
  EXPECT_EQ(errorOf(R"({"pat": 0.2})"), "/periods/pat: 0.2 is not an integer");
  EXPECT_EQ(errorOf("[200]"), "/periods: an array is not an object");
}

TEST(PeriodsJson, WritesThePeriodsBehindTheTables) {
  TableSet set = readTableSet(R"({"periods": {"stt": 500, "pat": 25}, "cat": {"version_number": 1}})");
  EXPECT_EQ(writeTableSet(set), R"({
  "cat": {"version_number": 1},
  "periods": {"pat": 25, "stt": 500}
}
)");
  set.periods.clear();
  EXPECT_EQ(writeTableSet(set), "{\n  \"cat\": {\"version_number\": 1}\n}\n");
}

TEST(WholeSet, LaterFilesWinPeriodByPeriod) {
  TableSet set = readTableSet(R"({"periods": {"pat": 100, "pmt": 110}})");
  merge(readTableSet(R"({"periods": {"pmt": 120, "nit": 130}})"), set);
  merge(readTableSet(R"({"cat": {"version_number": 1}})"), set);
  EXPECT_THAT(set.periods, ElementsAre(Pair("nit", 130U), Pair("pat", 100U), Pair("pmt", 120U)));
}

TEST(WholeSet, HasThePeriodsOfTheLibraryWhereNoneIsGiven) {
  const InsertionPeriods periods = periodsOf(readTableSet(R"({"periods": {"pmt": 110}})"));
  EXPECT_EQ(periods.pmt, 110U);
  EXPECT_EQ(periods.pat, InsertionPeriods().pat);
}

TEST(WholeSet, OfNothingButPeriodsIsEmpty) { EXPECT_TRUE(isEmpty(readTableSet(R"({"periods": {"pmt": 110}})"))); }

}  // namespace
}  // namespace vantor::tables::periodsJson_test
