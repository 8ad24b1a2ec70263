#include "programs/tables/kinds/sections.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"
#include "tests/programs/streams.h"

/// Whole sections in JSON.

namespace vantor::tables::sections_test {
namespace {

using namespace thrift::dvb_tables;
using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::SizeIs;

std::string errorOf(const std::string& text) {
  try {
    readTableSet(text);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

std::string hexOf(const std::string& section) { return '"' + hexDigits(section) + '"'; }

/// A BAT's section.
std::string bat(unsigned bouquet = 500, unsigned number = 0, unsigned last = 0) {
  return makeSection(0x4A, bouquet, 3, number, last, "x");
}

std::string one(const std::string& fields, const std::string& sections = hexOf(bat())) {
  return R"({"sections": [{"pid": 17, )" + fields + R"("sections": [)" + sections + "]}]}";
}

TEST(WholeSections, EveryFieldIsRead) {
  const TableSet set = readTableSet(
      one(R"("period": 700, "name": "Family", )", hexOf(bat(500, 0, 1)) + ", " + hexOf(bat(500, 1, 1))));
  ASSERT_THAT(set.sections, SizeIs(1));
  EXPECT_EQ(set.sections[0].pid, 17);
  EXPECT_EQ(set.sections[0].period, 700);
  EXPECT_EQ(set.sections[0].name, "Family");
  EXPECT_THAT(set.sections[0].sections, ElementsAre(bat(500, 0, 1), bat(500, 1, 1)));
}

TEST(WholeSections, ThePeriodIsThatOfTheTableOrTenSeconds) {
  EXPECT_EQ(readTableSet(one("")).sections[0].period, 10000);
  EXPECT_EQ(readTableSet(one("", hexOf(makeSection(0x42, 1, 0, 0, 0, "")))).sections[0].period, 500);
  EXPECT_EQ(readTableSet(one("", hexOf(makeSection(0xCA, 1, 0, 0, 0, "")))).sections[0].period, 60000);
  EXPECT_EQ(readTableSet(one("", hexOf(makeSection(0xCB, 1, 0, 0, 0, "")))).sections[0].period, 10000);
  EXPECT_EQ(readTableSet(one("", hexOf(makeSection(0x90, 1, 0, 0, 0, "")))).sections[0].period, 10000);
}

TEST(WholeSections, ComeBackFromJsonAsTheyWere) {
  for (const char* fields : {R"("period": 700, "name": "Family", )", ""}) {
    const TableSet set = readTableSet(one(fields));
    EXPECT_EQ(readTableSet(writeTableSet(set)).sections, set.sections);
  }
  const std::string written = writeTableSet(readTableSet(one("")));
  EXPECT_EQ(written.find("period"), std::string::npos) << "the usual one is left out";
  EXPECT_EQ(written.find("name"), std::string::npos);
}

TEST(WholeSections, StandInTheOrderOfPidTableAndExtension) {
  const auto entry = [](int pid, unsigned tableId, unsigned extension) {
    return R"({"pid": )" + std::to_string(pid) + R"(, "sections": [)" +
           hexOf(makeSection(tableId, extension, 0, 0, 0, "")) + "]}";
  };
  const TableSet set = readTableSet(R"({"sections": [)" + entry(18, 0x41, 1) + "," + entry(17, 0x4A, 2) + "," +
                                    entry(17, 0x4A, 1) + "," + entry(17, 0x41, 9) + "]}");
  ASSERT_THAT(set.sections, SizeIs(4));
  EXPECT_EQ(set.sections[0].sections[0], makeSection(0x41, 9, 0, 0, 0, ""));
  EXPECT_EQ(set.sections[1].sections[0], makeSection(0x4A, 1, 0, 0, 0, ""));
  EXPECT_EQ(set.sections[2].sections[0], makeSection(0x4A, 2, 0, 0, 0, ""));
  EXPECT_EQ(set.sections[3].pid, 18);
}

TEST(WholeSections, OfALaterFileWinTableByTable) {
  TableSet set = readTableSet(R"({"sections": [{"pid": 17, "name": "first", "sections": [)" + hexOf(bat(1)) +
                              R"(]}, {"pid": 17, "sections": [)" + hexOf(bat(2)) + "]}]}");
  merge(readTableSet(R"({"sections": [{"pid": 17, "name": "second", "sections": [)" + hexOf(bat(1)) + "]}]}"), set);
  ASSERT_THAT(set.sections, SizeIs(2));
  EXPECT_EQ(set.sections[0].name, "second");
}

TEST(WholeSections, ErrorsNameThePlace) {
  EXPECT_EQ(errorOf(R"({"sections": [{"sections": []}]})"), "/sections/0/pid: missing field");
  EXPECT_EQ(errorOf(R"({"sections": [{"pid": 17}]})"), "/sections/0/sections: missing field");
  EXPECT_EQ(errorOf(R"({"sections": [{"pid": 17, "sections": []}]})"), "/sections/0/sections: is empty");
  EXPECT_EQ(errorOf(R"({"sections": [{"pid": 8191, "sections": [)" + hexOf(bat()) + "]}]}"),
            "/sections/0/pid: 8191 is above 0x1FFE");
  EXPECT_EQ(errorOf(one(R"("period": 24, )")), "/sections/0/period: 24 ms is below 25 ms");
  EXPECT_EQ(errorOf(one("", hexOf(bat()) + R"(, "4a")")), "/sections/0/sections/1: 1 bytes are no whole section");
  EXPECT_EQ(errorOf(one("", R"("")")), "/sections/0/sections/0: 0 bytes are no whole section");
  EXPECT_EQ(errorOf(one("", hexOf(bat()) + "," + hexOf(bat(501)))),
            "/sections/0/sections/1: has table_id_extension 501, the first section 500");
  std::string broken = bat();
  broken.back() ^= 1;
  EXPECT_EQ(errorOf(one("", hexOf(broken))), "/sections/0/sections/0: has a wrong CRC_32");
  EXPECT_EQ(errorOf(R"({"sections": [{"pid": 17, "sections": [)" + hexOf(bat()) +
                    R"(]}, {"pid": 17, "sections": [)" + hexOf(bat()) + "]}]}"),
            "/sections/1: the same table as in /sections/0");
}

TEST(WholeSections, APeriodTooShortForTheirDistancesIsNoneThatAnImportWrites) {
  std::vector<Section> sections;
  for (unsigned i = 0; i < 256; ++i) sections.emplace_back(makeSection(0x90, 1, 0, i, 255, std::string(4000, 'x')));
  TableSet set;
  EXPECT_EQ(sectionsKind().decode({{0x90, 1, 0, 0}, 0x300}, sections, set), std::nullopt);
  // 256 sections of 22 packets: 256 x (25.2 + 21 x 1.55) ms, and a quarter more.
  EXPECT_EQ(set.sections[0].period, 19000);
}

TEST(WholeSections, AreFoundAndDroppedByTheirPlace) {
  TableSet set = readTableSet(one(""));
  EXPECT_TRUE(hasSections({{0x4A, 500, 0, 0}, 17}, set));
  for (const SubtableKey& other : {SubtableKey{{0x4A, 500, 0, 0}, 16}, SubtableKey{{0x41, 500, 0, 0}, 17},
                                   SubtableKey{{0x4A, 501, 0, 0}, 17}}) {
    EXPECT_FALSE(hasSections(other, set));
    dropSections(other, set);
  }
  EXPECT_THAT(set.sections, SizeIs(1));
  dropSections({{0x4A, 500, 0, 0}, 17}, set);
  EXPECT_THAT(set.sections, SizeIs(0));
}

}  // namespace
}  // namespace vantor::tables::sections_test
