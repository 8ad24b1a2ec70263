#include "interface/converters/t2dMGT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/randomRecords.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::MgtTable;

namespace {

MGTTable tableOf(int type, const Descriptors& descriptors = {}) {
  MGTTable table;
  table.table_type = type;
  table.table_type_pid = 0x1D00 + type % 0x100;
  table.table_type_version_number = static_cast<std::int16_t>(type % 32);
  table.number_bytes = 1000 + type;
  table.descriptors = descriptors;
  return table;
}

MGT mgtOf(const std::vector<MGTTable>& tables, const Descriptors& descriptors = {}) {
  MGT record;
  record.version_number = 9;
  record.protocol_version = 0;
  record.tables = tables;
  record.descriptors = descriptors;
  return record;
}

/// A table that fills a section: 4096 bytes with 11 before it, 11 of its own, 2 of a length and CRC_32.
MGTTable fullTable(int type) {
  Descriptors descriptors(15, descriptorOf(255));
  descriptors.push_back(descriptorOf(211));
  return tableOf(type, descriptors);
}

class MgtConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const MGT& record) {
    EXPECT_EQ(MgtTable(t2dMGT(record)), nullptr);
    return log.takeErrors();
  }

  /// How many sections it takes.
  std::size_t expectWhole(const MGT& record) {
    const MgtTable mgt(t2dMGT(record));
    if (!mgt) {
      ADD_FAILURE() << testing::PrintToString(log.takeErrors());
      return 0;
    }
    const auto sections = sectionsOf(*mgt);
    EXPECT_EQ(faultIn(sections), "");
    EXPECT_EQ(ownDescriptorsIn(sections), record.descriptors);
    MGT seen = record;
    seen.descriptors.clear();
    EXPECT_EQ(decodedMgt(sections), seen);
    return sections.size();
  }

  RecordedLog log;
};

}  // namespace

TEST_F(MgtConverter, EveryFieldReachesTheTable) {
  MGT record = mgtOf({tableOf(1), tableOf(2)}, {descriptor(0x90, "own")});
  record.version_number = 31;
  record.current_next_indicator = false;
  record.protocol_version = 255;
  record.tables[0].table_type = 0xFFFF;
  record.tables[0].table_type_pid = 0x1FFF;
  record.tables[0].table_type_version_number = 31;
  record.tables[0].number_bytes = 0xFFFFFFFF;
  record.tables[0].descriptors = {descriptor(0x80, "a"), descriptor(0xFF, "")};
  const MgtTable mgt(t2dMGT(record));
  ASSERT_NE(mgt, nullptr);
  EXPECT_EQ(mgt->i_table_id, 0xC7);
  EXPECT_EQ(mgt->i_extension, 0);
  EXPECT_EQ(mgt->i_version, 31);
  EXPECT_FALSE(mgt->b_current_next);
  EXPECT_EQ(mgt->i_protocol, 255);
  const auto* const first = mgt->p_first_table;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_table_type, 0xFFFF);
  EXPECT_EQ(first->i_table_type_pid, 0x1FFF);
  EXPECT_EQ(first->i_table_type_version, 31);
  EXPECT_EQ(first->i_number_bytes, 0xFFFFFFFF);
  ASSERT_NE(first->p_first_descriptor, nullptr);
  EXPECT_EQ(first->p_first_descriptor->i_tag, 0x80);
  ASSERT_NE(first->p_first_descriptor->p_next, nullptr);
  EXPECT_EQ(first->p_first_descriptor->p_next->i_tag, 0xFF);
  ASSERT_NE(first->p_next, nullptr);
  EXPECT_EQ(first->p_next->i_table_type, 2);
  EXPECT_EQ(first->p_next->p_next, nullptr);
  ASSERT_NE(mgt->p_first_descriptor, nullptr);
  EXPECT_EQ(mgt->p_first_descriptor->i_tag, 0x90);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(MgtConverter, ArrivesWholeOverAsManySectionsAsItNeeds) {
  EXPECT_EQ(expectWhole(mgtOf({tableOf(1)})), 1U);
  EXPECT_EQ(expectWhole(mgtOf({tableOf(1), fullTable(2), tableOf(3)}, {descriptorOf(4)})), 3U);
  EXPECT_EQ(expectWhole(mgtOf({fullTable(2)}, {descriptorOf(4)})), 2U);
}

TEST_F(MgtConverter, RandomTablesArriveWhole) {
  RandomRecords random(20260304);
  for (int round = 0; round < 10000 && !HasFailure(); ++round) {
    MGT record;
    record.version_number = random.number(31);
    record.current_next_indicator = random.flag();
    record.protocol_version = static_cast<std::int16_t>(random.number(255));
    record.tables.resize(random.size(40));
    for (MGTTable& table : record.tables) {
      table.table_type = random.number(0xFFFF);
      table.table_type_pid = random.number(0x1FFF);
      table.table_type_version_number = static_cast<std::int16_t>(random.number(31));
      table.number_bytes = random.number<std::int64_t>(0xFFFFFFFF);
      table.descriptors = random.descriptors(4068);
    }
    record.descriptors = random.descriptors(10000);
    SCOPED_TRACE(round);
    expectWhole(record);
  }
}

TEST_F(MgtConverter, Refuses257Sections) {
  std::vector<MGTTable> tables;
  for (int i = 0; i < 256; ++i) tables.push_back(fullTable(i));
  const MgtTable mgt(t2dMGT(mgtOf(tables)));
  ASSERT_NE(mgt, nullptr);
  EXPECT_THAT(sectionsOf(*mgt), SizeIs(256));
  EXPECT_THAT(refusal(mgtOf(tables, {descriptorOf(0)})), ElementsAre("MGT: needs 257 sections, more than 256"));
}

TEST_F(MgtConverter, RefusesATableThatFitsNoSection) {
  MGT record = mgtOf({tableOf(1), fullTable(2)});
  record.tables[1].descriptors.back() = descriptorOf(212);
  EXPECT_THAT(refusal(record), ElementsAre("MGT: tables[1].descriptors: 4069 bytes do not fit in a section"));
}

TEST_F(MgtConverter, RefusesNumbersThatDoNotFitTheirFields) {
  const auto refusalOf = [this](auto MGTTable::*field, std::int64_t value) {
    MGT record = mgtOf({tableOf(1), tableOf(2)});
    record.tables[1].*field = static_cast<std::remove_reference_t<decltype(record.tables[1].*field)>>(value);
    return refusal(record);
  };
  EXPECT_THAT(refusalOf(&MGTTable::table_type, 65536),
              ElementsAre("MGT: tables[1].table_type: 65536 is above 0xFFFF"));
  EXPECT_THAT(refusalOf(&MGTTable::table_type, -1), ElementsAre("MGT: tables[1].table_type: -1 is negative"));
  EXPECT_THAT(refusalOf(&MGTTable::table_type_pid, 8192),
              ElementsAre("MGT: tables[1].table_type_pid: 8192 is above 0x1FFF"));
  EXPECT_THAT(refusalOf(&MGTTable::table_type_version_number, 32),
              ElementsAre("MGT: tables[1].table_type_version_number: 32 is above 0x1F"));
  EXPECT_THAT(refusalOf(&MGTTable::number_bytes, 0x100000000),
              ElementsAre("MGT: tables[1].number_bytes: 4294967296 is above 0xFFFFFFFF"));
  MGT record = mgtOf({});
  record.protocol_version = 256;
  EXPECT_THAT(refusal(record), ElementsAre("MGT: protocol_version: 256 is above 0xFF"));
}

TEST_F(MgtConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  EXPECT_THAT(refusal(mgtOf({tableOf(1, {descriptor(256, "")})})),
              ElementsAre("MGT: tables[0].descriptors[0].tag: 256 is above 0xFF"));
  EXPECT_THAT(refusal(mgtOf({}, {descriptorOf(1), descriptorOf(256)})),
              ElementsAre("MGT: descriptors[1].data: 256 bytes are more than 255"));
}

TEST_F(MgtConverter, LeavesVersionsAbove31ToTheCaller) {
  MGT record = mgtOf({});
  for (const int version : {32, 33, 256, 256 + 31}) {
    record.version_number = version;
    const MgtTable mgt(t2dMGT(record));
    ASSERT_NE(mgt, nullptr);
    EXPECT_GT(mgt->i_version, 31) << version;
  }
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("MGT: version_number: -1 is negative"));
}
