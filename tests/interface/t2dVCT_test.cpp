#include "interface/converters/t2dVCT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "interface/converters/utf16.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/randomRecords.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::VctTable;

namespace {

constexpr std::int16_t kTerrestrial = 0xC8;
constexpr std::int16_t kCable = 0xC9;

VCTChannel channelOf(int number, const Descriptors& descriptors = {}) {
  VCTChannel channel;
  channel.short_name = "CH-" + std::to_string(number % 1000);
  channel.major_channel_number = static_cast<std::int16_t>(number % 1000);
  channel.minor_channel_number = 1;
  channel.modulation_mode = 4;
  channel.channel_TSID = 0x0101;
  channel.program_number = number;
  channel.service_type = 2;
  channel.source_id = number;
  channel.descriptors = descriptors;
  return channel;
}

VCT vctOf(std::int16_t tableId, const std::vector<VCTChannel>& channels, const Descriptors& descriptors = {}) {
  VCT record;
  record.table_id = tableId;
  record.transport_stream_id = 0x0101;
  record.version_number = 9;
  record.channels = channels;
  record.descriptors = descriptors;
  return record;
}

/// A channel that fills a section: 1024 bytes with 10 before it, 32 of its own, 2 of a length and CRC_32.
VCTChannel fullChannel(int number) {
  return channelOf(number, {descriptorOf(255), descriptorOf(255), descriptorOf(255), descriptorOf(203)});
}

class VctConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const VCT& record) {
    EXPECT_EQ(VctTable(t2dVCT(record)), nullptr);
    return log.takeErrors();
  }

  std::vector<std::string> refusalOfName(const std::string& name) {
    VCT record = vctOf(kTerrestrial, {channelOf(1), channelOf(2)});
    record.channels[1].short_name = name;
    return refusal(record);
  }

  /// The 14 bytes of a channel's short_name.
  Bytes nameOnTheWire(const std::string& name) {
    VCT record = vctOf(kTerrestrial, {channelOf(1)});
    record.channels[0].short_name = name;
    const VctTable vct(t2dVCT(record));
    if (!vct) return {};
    const auto& bytes = vct->p_first_channel->i_short_name;
    return {std::begin(bytes), std::end(bytes)};
  }

  /// How many sections it takes.
  std::size_t expectWhole(const VCT& record) {
    const VctTable vct(t2dVCT(record));
    if (!vct) {
      ADD_FAILURE() << testing::PrintToString(log.takeErrors());
      return 0;
    }
    const auto sections = sectionsOf(*vct);
    EXPECT_EQ(faultIn(sections), "");
    EXPECT_EQ(decodedVct(sections), record);
    return sections.size();
  }

  RecordedLog log;
};

}  // namespace

TEST_F(VctConverter, EveryFieldReachesTheTable) {
  VCT record = vctOf(kCable, {channelOf(1), channelOf(2)}, {descriptor(0x90, "own")});
  record.transport_stream_id = 0xFFFE;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.protocol_version = 255;
  VCTChannel& channel = record.channels[0];
  channel.major_channel_number = 1023;
  channel.minor_channel_number = 1022;
  channel.modulation_mode = 255;
  channel.carrier_frequency = 0xFFFFFFFF;
  channel.channel_TSID = 0xFFFD;
  channel.program_number = 0xFFFC;
  channel.ETM_location = 3;
  channel.access_controlled = channel.path_select = true;
  channel.service_type = 63;
  channel.source_id = 0xFFFB;
  channel.descriptors = {descriptor(0xA1, "a")};
  record.channels[1].hidden = record.channels[1].out_of_band = record.channels[1].hide_guide = true;
  const VctTable vct(t2dVCT(record));
  ASSERT_NE(vct, nullptr);
  EXPECT_EQ(vct->i_table_id, 0xC9);
  EXPECT_TRUE(vct->b_cable_vct);
  EXPECT_EQ(vct->i_extension, 0xFFFE);
  EXPECT_EQ(vct->i_version, 31);
  EXPECT_FALSE(vct->b_current_next);
  EXPECT_EQ(vct->i_protocol, 255);
  const auto* const first = vct->p_first_channel;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_major_number, 1023);
  EXPECT_EQ(first->i_minor_number, 1022);
  EXPECT_EQ(first->i_modulation, 255);
  EXPECT_EQ(first->i_carrier_freq, 0xFFFFFFFF);
  EXPECT_EQ(first->i_channel_tsid, 0xFFFD);
  EXPECT_EQ(first->i_program_number, 0xFFFC);
  EXPECT_EQ(first->i_etm_location, 3);
  EXPECT_TRUE(first->b_access_controlled);
  EXPECT_TRUE(first->b_path_select);
  EXPECT_FALSE(first->b_hidden);
  EXPECT_FALSE(first->b_out_of_band);
  EXPECT_FALSE(first->b_hide_guide);
  EXPECT_EQ(first->i_service_type, 63);
  EXPECT_EQ(first->i_source_id, 0xFFFB);
  ASSERT_NE(first->p_first_descriptor, nullptr);
  EXPECT_EQ(first->p_first_descriptor->i_tag, 0xA1);
  const auto* const second = first->p_next;
  ASSERT_NE(second, nullptr);
  EXPECT_FALSE(second->b_access_controlled);
  EXPECT_FALSE(second->b_path_select);
  EXPECT_TRUE(second->b_hidden);
  EXPECT_TRUE(second->b_out_of_band);
  EXPECT_TRUE(second->b_hide_guide);
  EXPECT_EQ(second->p_next, nullptr);
  ASSERT_NE(vct->p_first_descriptor, nullptr);
  EXPECT_EQ(vct->p_first_descriptor->i_tag, 0x90);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(VctConverter, TerrestrialTableIsNoCableTable) {
  VCT record = vctOf(kTerrestrial, {channelOf(1)});
  const VctTable vct(t2dVCT(record));
  EXPECT_EQ(vct->i_table_id, 0xC8);
  EXPECT_FALSE(vct->b_cable_vct);
}

TEST_F(VctConverter, PathSelectAndOutOfBandMeanNothingInATerrestrialTable) {
  VCT record = vctOf(kTerrestrial, {channelOf(1)});
  const VctTable without(t2dVCT(record));
  record.channels[0].path_select = record.channels[0].out_of_band = true;
  const VctTable with(t2dVCT(record));
  ASSERT_NE(with, nullptr);
  EXPECT_EQ(sectionsOf(*with), sectionsOf(*without));
}

TEST_F(VctConverter, ShortNameIsFilledUpWithZeros) {
  EXPECT_EQ(nameOnTheWire(""), Bytes(14, 0));
  EXPECT_EQ(nameOnTheWire("KX-DT"), Bytes({0, 'K', 0, 'X', 0, '-', 0, 'D', 0, 'T', 0, 0, 0, 0}));
  EXPECT_EQ(nameOnTheWire("1234567"), Bytes({0, '1', 0, '2', 0, '3', 0, '4', 0, '5', 0, '6', 0, '7'}));
}

TEST_F(VctConverter, ShortNameBecomesUtf16) {
  EXPECT_EQ(nameOnTheWire("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"),
            Bytes({0x00, 0x7F, 0x00, 0x80, 0x07, 0xFF, 0x08, 0x00, 0xFF, 0xFF, 0xD8, 0x00, 0xDC, 0x00}));
  EXPECT_EQ(nameOnTheWire("\xF4\x8F\xBF\xBF"), Bytes({0xDB, 0xFF, 0xDF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(VctConverter, RefusesAShortNameOfMoreThan7CodeUnits) {
  EXPECT_THAT(refusalOfName("12345678"),
              ElementsAre("VCT: channels[1].short_name: \"12345678\" has 8 UTF-16 code units, more than 7"));
  EXPECT_THAT(refusalOfName("123456\xF0\x90\x80\x80"),
              ElementsAre(testing::HasSubstr("has 8 UTF-16 code units, more than 7")));
  EXPECT_THAT(nameOnTheWire("\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4"), SizeIs(14));
}

TEST_F(VctConverter, RefusesAShortNameThatIsNotUtf8) {
  for (const std::string name :
       {"\x80", "a\xC3", "\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xE2\x82",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2\x28\xA1"})
    EXPECT_THAT(refusalOfName(name), ElementsAre("VCT: channels[1].short_name: is not UTF-8"))
        << testing::PrintToString(name);
}

TEST_F(VctConverter, EveryCodePointKeepsItsValue) {
  for (char32_t point = 0; point <= 0x10FFFF; point += point < 0x11000 ? 1 : 257) {
    std::string utf8;
    if (point < 0x80) {
      utf8 = {static_cast<char>(point)};
    } else if (point < 0x800) {
      utf8 = {static_cast<char>(0xC0 | point >> 6), static_cast<char>(0x80 | (point & 0x3F))};
    } else if (point < 0x10000) {
      utf8 = {static_cast<char>(0xE0 | point >> 12), static_cast<char>(0x80 | (point >> 6 & 0x3F)),
              static_cast<char>(0x80 | (point & 0x3F))};
    } else {
      utf8 = {static_cast<char>(0xF0 | point >> 18), static_cast<char>(0x80 | (point >> 12 & 0x3F)),
              static_cast<char>(0x80 | (point >> 6 & 0x3F)), static_cast<char>(0x80 | (point & 0x3F))};
    }
    const auto units = utf16Of(utf8);
    const bool isSurrogate = point >= 0xD800 && point < 0xE000;
    ASSERT_EQ(units.has_value(), !isSurrogate) << std::hex << static_cast<unsigned>(point);
    if (isSurrogate) continue;
    const std::u32string one(1, point);
    const char32_t back =
        units->size() == 1 ? (*units)[0] : 0x10000 + (((*units)[0] & 0x3FFU) << 10) + ((*units)[1] & 0x3FFU);
    ASSERT_EQ(back, point);
  }
}

TEST_F(VctConverter, ArrivesWholeOverAsManySectionsAsItNeeds) {
  EXPECT_EQ(expectWhole(vctOf(kCable, {channelOf(1), channelOf(2)})), 1U);
  EXPECT_EQ(expectWhole(vctOf(kTerrestrial, {channelOf(1), fullChannel(2), channelOf(3)}, {descriptorOf(4)})), 3U);
  EXPECT_EQ(expectWhole(vctOf(kTerrestrial, {fullChannel(2)}, {descriptorOf(4)})), 2U);
}

TEST_F(VctConverter, RandomTablesArriveWhole) {
  constexpr const char* kNames[] = {
      "", "A", "1234567", "KX-DT", "\xC3\xA4\xE2\x82\xAC", "abcd", "\xF0\x9F\x93\xBA tv", "\xEF\xBF\xBD"};
  RandomRecords random(20260305);
  for (int round = 0; round < 10000 && !HasFailure(); ++round) {
    VCT record = vctOf(random.flag() ? kCable : kTerrestrial, {}, random.descriptors(3000));
    const bool isCable = record.table_id == kCable;
    record.transport_stream_id = random.number(0xFFFF);
    record.version_number = random.number(31);
    record.current_next_indicator = random.flag();
    record.protocol_version = static_cast<std::int16_t>(random.number(255));
    record.channels.resize(random.size(80));
    for (VCTChannel& channel : record.channels) {
      channel.short_name = kNames[random.number(7)];
      channel.major_channel_number = static_cast<std::int16_t>(random.number(0x3FF));
      channel.minor_channel_number = static_cast<std::int16_t>(random.number(0x3FF));
      channel.modulation_mode = static_cast<std::int16_t>(random.number(0xFF));
      channel.carrier_frequency = random.number<std::int64_t>(0xFFFFFFFF);
      channel.channel_TSID = random.number(0xFFFF);
      channel.program_number = random.number(0xFFFF);
      channel.ETM_location = static_cast<std::int16_t>(random.number(3));
      channel.access_controlled = random.flag();
      channel.hidden = random.flag();
      channel.path_select = isCable && random.flag();
      channel.out_of_band = isCable && random.flag();
      channel.hide_guide = random.flag();
      channel.service_type = static_cast<std::int16_t>(random.number(0x3F));
      channel.source_id = random.number(0xFFFF);
      channel.descriptors = random.descriptors(976);
    }
    SCOPED_TRACE(round);
    expectWhole(record);
  }
}

TEST_F(VctConverter, Refuses257Sections) {
  std::vector<VCTChannel> channels;
  for (int i = 0; i < 256; ++i) channels.push_back(fullChannel(i));
  const VctTable vct(t2dVCT(vctOf(kTerrestrial, channels)));
  ASSERT_NE(vct, nullptr);
  EXPECT_THAT(sectionsOf(*vct), SizeIs(256));
  EXPECT_THAT(refusal(vctOf(kTerrestrial, channels, {descriptorOf(0)})),
              ElementsAre("VCT: needs 257 sections, more than 256"));
}

TEST_F(VctConverter, RefusesAChannelThatFitsNoSection) {
  VCT record = vctOf(kTerrestrial, {channelOf(1), fullChannel(2)});
  record.channels[1].descriptors.back() = descriptorOf(204);
  EXPECT_THAT(refusal(record), ElementsAre("VCT: channels[1].descriptors: 977 bytes do not fit in a section"));
}

TEST_F(VctConverter, RefusesNumbersThatDoNotFitTheirFields) {
  const auto refusalOf = [this](auto VCTChannel::*field, std::int64_t value) {
    VCT record = vctOf(kCable, {channelOf(1), channelOf(2)});
    record.channels[1].*field = static_cast<std::remove_reference_t<decltype(record.channels[1].*field)>>(value);
    return refusal(record);
  };
  EXPECT_THAT(refusalOf(&VCTChannel::major_channel_number, 1024),
              ElementsAre("VCT: channels[1].major_channel_number: 1024 is above 0x3FF"));
  EXPECT_THAT(refusalOf(&VCTChannel::minor_channel_number, -1),
              ElementsAre("VCT: channels[1].minor_channel_number: -1 is negative"));
  EXPECT_THAT(refusalOf(&VCTChannel::modulation_mode, 256),
              ElementsAre("VCT: channels[1].modulation_mode: 256 is above 0xFF"));
  EXPECT_THAT(refusalOf(&VCTChannel::carrier_frequency, 0x100000000),
              ElementsAre("VCT: channels[1].carrier_frequency: 4294967296 is above 0xFFFFFFFF"));
  EXPECT_THAT(refusalOf(&VCTChannel::channel_TSID, 65536),
              ElementsAre("VCT: channels[1].channel_TSID: 65536 is above 0xFFFF"));
  EXPECT_THAT(refusalOf(&VCTChannel::program_number, 65536),
              ElementsAre("VCT: channels[1].program_number: 65536 is above 0xFFFF"));
  EXPECT_THAT(refusalOf(&VCTChannel::ETM_location, 4),
              ElementsAre("VCT: channels[1].ETM_location: 4 is above 0x3"));
  EXPECT_THAT(refusalOf(&VCTChannel::service_type, 64),
              ElementsAre("VCT: channels[1].service_type: 64 is above 0x3F"));
  EXPECT_THAT(refusalOf(&VCTChannel::source_id, 65536),
              ElementsAre("VCT: channels[1].source_id: 65536 is above 0xFFFF"));
  VCT record = vctOf(kCable, {});
  record.transport_stream_id = 65536;
  EXPECT_THAT(refusal(record), ElementsAre("VCT: transport_stream_id: 65536 is above 0xFFFF"));
  record = vctOf(kCable, {});
  record.protocol_version = 256;
  EXPECT_THAT(refusal(record), ElementsAre("VCT: protocol_version: 256 is above 0xFF"));
}

TEST_F(VctConverter, RefusesTableIdsOfOtherTables) {
  for (const int tableId : {0, 0xC7, 0xCA, -1})
    EXPECT_THAT(refusal(vctOf(static_cast<std::int16_t>(tableId), {})),
                ElementsAre("VCT: table_id: " + std::to_string(tableId) +
                            " is neither 0xC8, terrestrial, nor 0xC9, cable"));
}

TEST_F(VctConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  EXPECT_THAT(refusal(vctOf(kCable, {channelOf(1, {descriptor(-1, "")})})),
              ElementsAre("VCT: channels[0].descriptors[0].tag: -1 is negative"));
  EXPECT_THAT(refusal(vctOf(kCable, {}, {descriptorOf(256)})),
              ElementsAre("VCT: descriptors[0].data: 256 bytes are more than 255"));
}

TEST_F(VctConverter, LeavesVersionsAbove31ToTheCaller) {
  VCT record = vctOf(kCable, {});
  record.version_number = 256;
  const VctTable vct(t2dVCT(record));
  ASSERT_NE(vct, nullptr);
  EXPECT_GT(vct->i_version, 31);
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("VCT: version_number: -1 is negative"));
}
