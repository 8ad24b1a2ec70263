#include <gmock/gmock.h>

#include "tests/servicemux/sections/atscTables.h"

namespace {

using testing::SizeIs;
using vantor::generateSections;
using vantor::MgtTable;

MgtTable makeMgt() { return MgtTable(dvbpsi_atsc_NewMGT(0xC7, 0, 9, 0, true)); }

/// A table that takes so many bytes of the MGT.
void addTable(const MgtTable& mgt, std::uint16_t type, std::size_t size) {
  auto& table = append(mgt->p_first_table);
  table.i_table_type = type;
  addLoop(table, size - 11);
}

/// tables_defined of each section.
std::vector<unsigned> tableCounts(const std::vector<Bytes>& sections) {
  std::vector<unsigned> counts;
  for (const Bytes& section : sections) counts.push_back(wordAt(section, 9));
  return counts;
}

constexpr std::size_t kMgtRoom =
    4096 - 8 - 3 - 2 - 4;  // header, protocol_version to tables_defined, length, CRC_32

}  // namespace

TEST(MgtSections, AreWrittenBitByBit) {
  const MgtTable mgt = makeMgt();
  mgt->i_protocol = 0;
  auto& vct = append(mgt->p_first_table);
  vct.i_table_type = 0x0000;
  vct.i_table_type_pid = 0x1FFB;
  vct.i_table_type_version = 5;
  vct.i_number_bytes = 0x01020304;
  addDescriptor(vct, 0x80, {0xAA, 0xBB});
  auto& eit = append(mgt->p_first_table);
  eit.i_table_type = 0x0100;
  eit.i_table_type_pid = 0x1D00;
  eit.i_table_type_version = 31;
  eit.i_number_bytes = 0xFFFFFFFF;
  addDescriptor(*mgt, 0xA0, {0xCC});
  const Bytes expected = {0xC7, 0xF0, 0x2B, 0x00, 0x00, 0xD3, 0x00, 0x00,                    // header
                          0x00, 0x00, 0x02,                                                  // protocol, tables
                          0x00, 0x00, 0xFF, 0xFB, 0xE5, 0x01, 0x02, 0x03, 0x04, 0xF0, 0x04,  // first table
                          0x80, 0x02, 0xAA, 0xBB,                                            //
                          0x01, 0x00, 0xFD, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0, 0x00,  // second table
                          0xF0, 0x03, 0xA0, 0x01, 0xCC};                                     // the MGT's own
  EXPECT_EQ(onlySection(generateSections(*mgt)), expected);
}

TEST(MgtSections, MgtWithoutTablesIsOneSection) {
  const MgtTable mgt = makeMgt();
  mgt->b_current_next = false;
  mgt->i_version = 0;
  mgt->i_protocol = 3;
  const Bytes expected = {0xC7, 0xF0, 0x0E, 0, 0, 0xC0, 0, 0, 3, 0, 0, 0xF0, 0};
  EXPECT_EQ(onlySection(generateSections(*mgt)), expected);
}

TEST(MgtSections, TableGoesToTheNextSectionWhereTheOneBeforeIsFull) {
  const MgtTable full = makeMgt();
  addTable(full, 1, 1000);
  addTable(full, 2, kMgtRoom - 1000);
  const auto one = bytesOf(generateSections(*full));
  ASSERT_THAT(one, SizeIs(1));
  EXPECT_THAT(one[0], SizeIs(4096));

  const MgtTable over = makeMgt();
  addTable(over, 1, 1000);
  addTable(over, 2, kMgtRoom - 1000 + 1);
  addTable(over, 3, 11);
  const auto two = bytesOf(generateSections(*over));
  EXPECT_THAT(tableCounts(two), testing::ElementsAre(1, 2));
  EXPECT_EQ(two[1][6], 1) << "section_number";
  EXPECT_EQ(two[0][7], 1) << "last_section_number";
  EXPECT_EQ(wordAt(two[1], 11), 2U) << "table_type of its first table";
}

TEST(MgtSections, OwnDescriptorsFollowTheLastTableIntoFurtherSections) {
  const MgtTable mgt = makeMgt();
  addTable(mgt, 1, kMgtRoom - 300);
  addTable(mgt, 2, 100);
  addLoop(*mgt, 200);
  EXPECT_THAT(tableCounts(bytesOf(generateSections(*mgt))), testing::ElementsAre(2));
  addLoop(*mgt, 2);
  const auto sections = bytesOf(generateSections(*mgt));
  EXPECT_THAT(tableCounts(sections), testing::ElementsAre(2, 0));
  EXPECT_THAT(sections[0], SizeIs(4096));
  EXPECT_EQ(wordAt(sections[1], 11), 0xF002U) << "their length";
}

TEST(MgtSections, TableThatFitsNoSectionYieldsNothing) {
  const MgtTable fits = makeMgt();
  addTable(fits, 1, 11);
  addTable(fits, 2, kMgtRoom);
  EXPECT_THAT(bytesOf(generateSections(*fits)), SizeIs(2));
  const MgtTable above = makeMgt();
  addTable(above, 1, 11);
  addTable(above, 2, kMgtRoom + 1);
  EXPECT_EQ(generateSections(*above), nullptr);
}

TEST(MgtSections, A257thSectionYieldsNothing) {
  const MgtTable mgt = makeMgt();
  for (std::uint16_t i = 0; i < 256; ++i) addTable(mgt, i, kMgtRoom);
  EXPECT_THAT(bytesOf(generateSections(*mgt)), SizeIs(256));
  addTable(mgt, 256, 11);
  EXPECT_EQ(generateSections(*mgt), nullptr);
}

TEST(MgtSections, ValuesAboveTheirFieldsDoNotSpill) {
  const MgtTable mgt = makeMgt();
  auto& table = append(mgt->p_first_table);
  table.i_table_type_pid = 0xFFFF;
  table.i_table_type_version = 0x2A;
  const Bytes section = onlySection(generateSections(*mgt));
  EXPECT_EQ(wordAt(section, 13), 0xFFFFU);
  EXPECT_EQ(section.at(15), 0xEA);
}
