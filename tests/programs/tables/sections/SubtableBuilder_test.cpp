#include "programs/tables/sections/SubtableBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/streams.h"

namespace vantor::tables {
namespace {

using ::testing::ElementsAre;

Section section(unsigned version, unsigned number, const std::string& payload) {
  return Section(testing::makeSection(0x42, 1, version, number, 2, payload));
}

std::vector<std::string> payloads(const SubtableBuilder& builder) {
  std::vector<std::string> out;
  for (const Section& part : builder.sections()) out.emplace_back(part.payload());
  return out;
}

TEST(SubtableBuilder, HasTheSectionsInTheOrderOfTheirNumbers) {
  SubtableBuilder builder(false);
  EXPECT_TRUE(builder.add(section(1, 2, "c")));
  EXPECT_TRUE(builder.add(section(1, 0, "a")));
  EXPECT_THAT(payloads(builder), ElementsAre("a", "c"));
  EXPECT_EQ(builder.numbered().count(1), 0U);
}

TEST(SubtableBuilder, TellsARepetitionFromNews) {
  SubtableBuilder builder(false);
  EXPECT_TRUE(builder.add(section(1, 0, "a")));
  EXPECT_FALSE(builder.add(section(1, 0, "a")));
  EXPECT_TRUE(builder.add(section(1, 0, "b")));
}

TEST(SubtableBuilder, BeginsAnewWithAVersion) {
  SubtableBuilder builder(true);
  EXPECT_TRUE(builder.add(section(1, 0, "a")));
  EXPECT_TRUE(builder.add(section(2, 1, "b")));
  EXPECT_THAT(payloads(builder), ElementsAre("b"));
}

TEST(SubtableBuilder, BeginsAnewWithOtherContentUnderTheSameVersion) {
  SubtableBuilder builder(false);
  EXPECT_TRUE(builder.add(section(1, 0, "a")));
  EXPECT_TRUE(builder.add(section(1, 1, "b")));
  EXPECT_TRUE(builder.add(section(1, 1, "new")));
  EXPECT_THAT(payloads(builder), ElementsAre("new"));
}

TEST(SubtableBuilder, KeepsTheOthersWhereSectionsStandAlone) {
  SubtableBuilder builder(true);
  EXPECT_TRUE(builder.add(section(1, 0, "a")));
  EXPECT_TRUE(builder.add(section(1, 1, "b")));
  EXPECT_TRUE(builder.add(section(1, 1, "new")));
  EXPECT_THAT(payloads(builder), ElementsAre("a", "new"));
}

std::vector<std::string> newestOf(const SubtableBuilder& builder) {
  std::vector<std::string> out;
  for (const auto& part : builder.newest()) out.emplace_back(part.second.payload());
  return out;
}

TEST(SubtableBuilder, KeepsTheNewestOfEachNumberWhereSectionsStandAlone) {
  SubtableBuilder builder(true);
  EXPECT_TRUE(builder.add(section(0, 0, "old")));
  EXPECT_TRUE(builder.add(section(1, 1, "b")));
  EXPECT_TRUE(builder.add(section(0, 2, "c")));
  EXPECT_TRUE(builder.add(section(1, 0, "a")));
  EXPECT_THAT(newestOf(builder), ElementsAre("a", "b", "c"));
  builder.settle();
  EXPECT_TRUE(builder.add(section(2, 0, "x")));
  EXPECT_THAT(newestOf(builder), ElementsAre());
}

TEST(SubtableBuilder, KeepsNoNewestWhereSectionsBelongTogether) {
  SubtableBuilder builder(false);
  EXPECT_TRUE(builder.add(section(0, 0, "a")));
  EXPECT_THAT(newestOf(builder), ElementsAre());
}

TEST(SubtableBuilder, PrefersWhatIsInForceToAnnouncements) {
  const auto next = [](unsigned number, const std::string& payload) {
    std::string bytes = testing::makeSection(0x42, 1, 3, number, 2, payload);
    bytes[5] = static_cast<char>(bytes[5] & 0xFE);
    return Section(testing::withCrc(bytes));
  };
  SubtableBuilder builder(true);
  EXPECT_TRUE(builder.add(next(0, "later")));
  EXPECT_THAT(newestOf(builder), ElementsAre("later"));
  EXPECT_TRUE(builder.add(section(1, 1, "now")));
  EXPECT_TRUE(builder.add(next(1, "later")));
  EXPECT_THAT(newestOf(builder), ElementsAre("now"));
}

}  // namespace
}  // namespace vantor::tables
