#include "interface/converters/t2dNIT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using vantor::NitTable;

namespace {

Descriptors descriptorsOf(const std::vector<std::size_t>& sizes) {
  Descriptors descriptors;
  for (const std::size_t size : sizes) descriptors.push_back(descriptorOf(size));
  return descriptors;
}

NIT nitOf(const std::vector<std::size_t>& network, const std::vector<std::vector<std::size_t>>& streams) {
  NIT record;
  record.network_id = 0x3001;
  record.version_number = 4;
  record.descriptors = descriptorsOf(network);
  for (std::size_t i = 0; i < streams.size(); ++i)
    record.transport_streams.push_back(transportStream(static_cast<int>(i), 0x2222, descriptorsOf(streams[i])));
  return record;
}

class NitConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const NIT& record) {
    EXPECT_EQ(NitTable(t2dNIT(record)), nullptr);
    return log.takeErrors();
  }

  void expectWhole(const NIT& record, std::size_t sectionCount) {
    const NitTable nit(t2dNIT(record));
    ASSERT_NE(nit, nullptr) << testing::PrintToString(log.takeErrors());
    const auto sections = sectionsOf(*nit);
    EXPECT_EQ(faultIn(sections), "");
    EXPECT_EQ(sections.size(), sectionCount);
    EXPECT_EQ(tableId(sections[0]), 0x40);
    EXPECT_EQ(extension(sections[0]), record.network_id);
    EXPECT_EQ(version(sections[0]), record.version_number);
    EXPECT_EQ(networkDescriptorsIn(sections), record.descriptors);
    EXPECT_EQ(transportStreamsIn(sections), record.transport_streams);
    EXPECT_EQ(decodedNit(sections), record);
  }

  RecordedLog log;
};

}  // namespace

TEST_F(NitConverter, EveryFieldReachesTheTable) {
  NIT record;
  record.network_id = 0xFFFF;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.descriptors = {descriptor(0x40, "net")};
  record.transport_streams = {transportStream(0xFFFE, 0xFFFD, {descriptor(0x41, "sl")}), transportStream(0, 0, {})};
  const NitTable nit(t2dNIT(record));
  ASSERT_NE(nit, nullptr);
  EXPECT_EQ(nit->i_table_id, 0x40);
  EXPECT_EQ(nit->i_extension, 0xFFFF);
  EXPECT_EQ(nit->i_network_id, 0xFFFF);
  EXPECT_EQ(nit->i_version, 31);
  EXPECT_FALSE(nit->b_current_next);
  ASSERT_NE(nit->p_first_descriptor, nullptr);
  EXPECT_EQ(nit->p_first_descriptor->i_tag, 0x40);
  const auto* const stream = nit->p_first_ts;
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(stream->i_ts_id, 0xFFFE);
  EXPECT_EQ(stream->i_orig_network_id, 0xFFFD);
  ASSERT_NE(stream->p_first_descriptor, nullptr);
  EXPECT_EQ(stream->p_first_descriptor->i_tag, 0x41);
  ASSERT_NE(stream->p_next, nullptr);
  EXPECT_EQ(stream->p_next->i_ts_id, 0);
  EXPECT_EQ(stream->p_next->p_next, nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NitConverter, ArrivesWholeInOneSection) {
  expectWhole(nitOf({}, {}), 1);
  expectWhole(nitOf({10, 0}, {{11, 60}, {}, {0}}), 1);
  expectWhole(nitOf({255, 255, 255, 235}, {}), 1);    // 1024 bytes
  expectWhole(nitOf({}, {{255, 255, 255, 229}}), 1);  // 1024 bytes
}

TEST_F(NitConverter, ArrivesWholeOverSeveralSections) {
  expectWhole(nitOf({255, 255, 255, 255, 255}, {{5}}), 2);
  expectWhole(nitOf({255, 255, 255, 236}, {}), 2);
  expectWhole(nitOf({255, 255, 255, 230}, {{}}), 2);
  expectWhole(nitOf({}, {{255, 255, 190}, {255, 255, 190}, {255, 255, 190}}), 3);
  expectWhole(nitOf({}, std::vector<std::vector<std::size_t>>(40, {100})), 5);
  expectWhole(nitOf({}, std::vector<std::vector<std::size_t>>(200)), 2);
  expectWhole(nitOf({}, std::vector<std::vector<std::size_t>>(256, {255, 255, 190})), 256);
}

TEST_F(NitConverter, RefusesA257thSection) {
  EXPECT_THAT(refusal(nitOf({}, std::vector<std::vector<std::size_t>>(257, {255, 255, 190}))),
              ElementsAre("NIT: needs 257 sections, more than 256"));
}

TEST_F(NitConverter, RefusesATransportStreamThatFitsNoSection) {
  EXPECT_THAT(refusal(nitOf({}, {{}, {255, 255, 255, 230}})),
              ElementsAre("NIT: transport_streams[1].descriptors: 1003 bytes do not fit in a section"));
}

TEST_F(NitConverter, RefusesIdentifiersThatAreNoneOf16Bits) {
  NIT record = nitOf({}, {{}, {}});
  record.network_id = 0x10000;
  EXPECT_THAT(refusal(record), ElementsAre("NIT: network_id: 65536 is above 0xFFFF"));
  record.network_id = -1;
  EXPECT_THAT(refusal(record), ElementsAre("NIT: network_id: -1 is negative"));
  record = nitOf({}, {{}, {}});
  record.transport_streams[1].transport_stream_id = 65536;
  EXPECT_THAT(refusal(record), ElementsAre("NIT: transport_streams[1].transport_stream_id: 65536 is above 0xFFFF"));
  record = nitOf({}, {{}, {}});
  record.transport_streams[0].original_network_id = -5;
  EXPECT_THAT(refusal(record), ElementsAre("NIT: transport_streams[0].original_network_id: -5 is negative"));
}

TEST_F(NitConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  NIT record = nitOf({1, 2}, {{3}});
  record.descriptors[1].tag = 300;
  EXPECT_THAT(refusal(record), ElementsAre("NIT: descriptors[1].tag: 300 is above 0xFF"));
  EXPECT_THAT(refusal(nitOf({}, {{1}, {2, 300}})),
              ElementsAre("NIT: transport_streams[1].descriptors[1].data: 300 bytes are more than 255"));
}

TEST_F(NitConverter, LeavesVersionsAbove31ToTheCaller) {
  NIT record = nitOf({}, {});
  record.version_number = 260;
  const NitTable nit(t2dNIT(record));
  ASSERT_NE(nit, nullptr);
  EXPECT_GT(nit->i_version, 31);
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("NIT: version_number: -1 is negative"));
}
