#include "programs/tables/review/needs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"

namespace vantor::tables::needs_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double kPacketBits = 1504;

Needs needsOf(const std::string& text, unsigned int ceiling = 1024) {
  const TableSet set = readTableSet(text);
  return tables::needsOf(set, periodsOf(set), ceiling);
}

constexpr const char* kPat = R"("pat": {"transport_stream_id": 1, "version_number": 1, "programs": []})";
constexpr const char* kCat = R"("cat": {"version_number": 1})";

/// An SDT of so many sections.
std::string sdt(int sections) {
  std::string services;
  for (int i = 1; i <= sections; ++i)
    services +=
        (i == 1 ? "" : ",") + std::string(R"({"starts_section": true, "service_id": )") + std::to_string(i) + "}";
  return R"("sdt_actual": {"transport_stream_id": 1, "original_network_id": 2, "version_number": 1, "services": [)" +
         services + "]}";
}

TEST(Needs, AreThePacketsOfEachPidOnceAPeriod) {
  const Needs needs = needsOf("{" + std::string(kPat) + "," + kCat + R"(, "periods": {"cat": 100}})");
  ASSERT_EQ(needs.pids.size(), 2U);
  EXPECT_EQ(needs.pids[0].pid, 0);
  EXPECT_DOUBLE_EQ(needs.pids[0].kbps, kPacketBits / 200);
  EXPECT_EQ(needs.pids[1].pid, 1);
  EXPECT_DOUBLE_EQ(needs.pids[1].kbps, kPacketBits / 100);
  EXPECT_DOUBLE_EQ(needs.kbps, kPacketBits * 3 / 200);
}

TEST(Needs, AreWhatTheLibraryReckons) {
  const Needs needs = needsOf("{" + std::string(kPat) + "," + kCat + "," + sdt(3) + "}");
  EXPECT_NEAR(needs.statistics.required, needs.kbps, 0.01);
  EXPECT_EQ(needs.statistics.stretch, 1);
}

TEST(Needs, AreStretchedByTheLibraryWhereTheyDoNotFit) {
  const Needs needs = needsOf("{" + std::string(kPat) + "," + kCat + "," + sdt(10) + "}", 10);
  EXPECT_GT(needs.statistics.stretch, needs.kbps / 10);
}

TEST(CrowdedTables, HaveMoreSectionsThanTheirPeriodHasRoomFor) {
  EXPECT_THAT(crowdedTablesIn(needsOf("{" + sdt(20) + "}")), IsEmpty());
  const auto findings = crowdedTablesIn(needsOf("{" + sdt(21) + "}"));
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].text, "SDT actual: 21 sections, 25 ms apart, take 525 ms, the period is 500 ms");
}

}  // namespace
}  // namespace vantor::tables::needs_test
