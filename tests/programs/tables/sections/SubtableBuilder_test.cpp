#include "programs/tables/sections/SubtableBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/streams.h"

namespace vantor::tables::SubtableBuilder_test {
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

}  // namespace
}  // namespace vantor::tables::SubtableBuilder_test
