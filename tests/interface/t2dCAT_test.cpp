#include "interface/converters/t2dCAT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using vantor::CatTable;

namespace {

CAT catOf(const std::vector<std::size_t>& sizes) {
  CAT record;
  record.version_number = 9;
  for (const std::size_t size : sizes) record.descriptors.push_back(descriptorOf(size));
  return record;
}

class CatConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const CAT& record) {
    EXPECT_EQ(CatTable(t2dCAT(record)), nullptr);
    return log.takeErrors();
  }

  RecordedLog log;
};

}  // namespace

TEST_F(CatConverter, EveryFieldReachesTheTable) {
  CAT record;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.descriptors = {descriptor(0x09, {"\x05\x00\xE1\x23", 4}), descriptor(0xFF, "")};
  const CatTable cat(t2dCAT(record));
  ASSERT_NE(cat, nullptr);
  EXPECT_EQ(cat->i_version, 31);
  EXPECT_FALSE(cat->b_current_next);
  const auto* const first = cat->p_first_descriptor;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_tag, 0x09);
  EXPECT_EQ(Bytes(first->p_data, first->p_data + first->i_length), (Bytes{0x05, 0x00, 0xE1, 0x23}));
  ASSERT_NE(first->p_next, nullptr);
  EXPECT_EQ(first->p_next->i_tag, 0xFF);
  EXPECT_EQ(first->p_next->i_length, 0);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(CatConverter, ArrivesWholeOverOneAndSeveralSections) {
  const std::pair<std::vector<std::size_t>, std::size_t> cases[] = {{{}, 1},
                                                                    {{0}, 1},
                                                                    {{255}, 1},
                                                                    {{255, 255, 255, 239}, 1},
                                                                    {{255, 255, 255, 240}, 2},
                                                                    {std::vector<std::size_t>(8, 255), 3},
                                                                    {std::vector<std::size_t>(768, 255), 256}};
  for (const auto& [sizes, sectionCount] : cases) {
    const CAT record = catOf(sizes);
    const CatTable cat(t2dCAT(record));
    ASSERT_NE(cat, nullptr);
    const auto sections = sectionsOf(*cat);
    EXPECT_EQ(faultIn(sections), "");
    EXPECT_EQ(sections.size(), sectionCount);
    EXPECT_EQ(tableId(sections[0]), 0x01);
    EXPECT_EQ(version(sections[0]), 9);
    EXPECT_EQ(descriptorsIn(sections), record.descriptors);
    EXPECT_EQ(decodedCat(sections), record);
  }
}

TEST_F(CatConverter, FillsAll256SectionsToTheirLastByte) {
  CAT record;
  for (int section = 0; section < 256; ++section)
    for (const std::size_t size : {255, 255, 255, 239}) record.descriptors.push_back(descriptorOf(size));
  const CatTable cat(t2dCAT(record));
  ASSERT_NE(cat, nullptr);
  const auto sections = sectionsOf(*cat);
  EXPECT_EQ(faultIn(sections), "");
  EXPECT_THAT(sections, testing::Each(testing::SizeIs(1024)));
  EXPECT_EQ(descriptorsIn(sections), record.descriptors);
}

TEST_F(CatConverter, RefusesA257thSection) {
  EXPECT_THAT(refusal(catOf(std::vector<std::size_t>(769, 255))),
              ElementsAre("CAT: descriptors: needs 257 sections, more than 256"));
}

TEST_F(CatConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  CAT record = catOf({1, 2, 3});
  record.descriptors[2].tag = 256;
  EXPECT_THAT(refusal(record), ElementsAre("CAT: descriptors[2].tag: 256 is above 0xFF"));
  record.descriptors[2].tag = -1;
  EXPECT_THAT(refusal(record), ElementsAre("CAT: descriptors[2].tag: -1 is negative"));
  record = catOf({1, 256});
  EXPECT_THAT(refusal(record), ElementsAre("CAT: descriptors[1].data: 256 bytes are more than 255"));
}

TEST_F(CatConverter, LeavesVersionsAbove31ToTheCaller) {
  CAT record = catOf({5});
  record.version_number = 260;
  const CatTable cat(t2dCAT(record));
  ASSERT_NE(cat, nullptr);
  EXPECT_GT(cat->i_version, 31);
  record.version_number = -3;
  EXPECT_THAT(refusal(record), ElementsAre("CAT: version_number: -3 is negative"));
}
