#include <gmock/gmock.h>

#include <algorithm>

#include "tests/servicemux/sections/atscTables.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using vantor::generateSections;
using vantor::VctTable;

constexpr std::uint8_t kTerrestrial = 0xC8;
constexpr std::uint8_t kCable = 0xC9;

VctTable makeVct(std::uint8_t tableId) {
  return VctTable(dvbpsi_atsc_NewVCT(tableId, 0x07D0, 0, tableId == kCable, 9, true));
}

/// A channel that takes so many bytes of the VCT.
void addChannel(const VctTable& vct, std::uint16_t program, std::size_t size) {
  auto& channel = append(vct->p_first_channel);
  channel.i_program_number = program;
  addLoop(channel, size - 32);
}

/// num_channels_in_section of each section.
std::vector<unsigned> channelCounts(const std::vector<Bytes>& sections) {
  std::vector<unsigned> counts;
  for (const Bytes& section : sections) counts.push_back(section.at(9));
  return counts;
}

constexpr std::size_t kVctRoom = 1024 - 8 - 2 - 2 - 4;  // header, protocol_version and count, length, CRC_32
constexpr std::size_t kFlags = 10 + 26;                 // in the first channel

}  // namespace

TEST(VctSections, TerrestrialOnesAreWrittenBitByBit) {
  const VctTable vct = makeVct(kTerrestrial);
  auto& channel = append(vct->p_first_channel);
  const Bytes name = {0, 'K', 0, 'X', 0, '-', 0, 'D', 0x26, 0x3A};
  std::copy(name.begin(), name.end(), channel.i_short_name);
  channel.i_major_number = 5;
  channel.i_minor_number = 1;
  channel.i_modulation = 4;
  channel.i_carrier_freq = 0x11223344;
  channel.i_channel_tsid = 0x07D1;
  channel.i_program_number = 3;
  channel.i_etm_location = 2;
  channel.b_access_controlled = true;
  channel.b_hide_guide = true;
  channel.i_service_type = 2;
  channel.i_source_id = 0x0809;
  addDescriptor(channel, 0xA1, {0x5A});
  const Bytes expected = {0xC8, 0xF0, 0x30, 0x07, 0xD0, 0xD3, 0x00, 0x00,                          // header
                          0x00, 0x01,                                                              // one channel
                          0x00, 0x4B, 0x00, 0x58, 0x00, 0x2D, 0x00, 0x44, 0x26, 0x3A, 0, 0, 0, 0,  // short_name
                          0xF0, 0x14, 0x01,                                                        // 5-1
                          0x04, 0x11, 0x22, 0x33, 0x44, 0x07, 0xD1, 0x00, 0x03,                    //
                          0xAF, 0xC2,                    // 10 1 0 11 1 111 000010
                          0x08, 0x09,                    // source_id
                          0xFC, 0x03, 0xA1, 0x01, 0x5A,  // its descriptor
                          0xFC, 0x00};                   // none of the VCT's own
  EXPECT_EQ(onlySection(generateSections(*vct)), expected);
}

TEST(VctSections, CableOnesHavePathSelectAndOutOfBand) {
  const VctTable vct = makeVct(kCable);
  auto& channel = append(vct->p_first_channel);
  channel.i_major_number = 0x3FF;
  channel.i_minor_number = 0x2AA;
  channel.b_hidden = true;
  channel.b_path_select = true;
  channel.i_service_type = 0x3F;
  addDescriptor(*vct, 0x80, {});
  const Bytes section = onlySection(generateSections(*vct));
  EXPECT_EQ(section.at(0), 0xC9);
  EXPECT_EQ(Bytes(section.begin() + 24, section.begin() + 27), Bytes({0xFF, 0xFE, 0xAA}));
  EXPECT_EQ(wordAt(section, kFlags), 0x19FFU) << "00 0 1 1 0 0 111 111111";
  EXPECT_EQ(Bytes(section.end() - 4, section.end()), Bytes({0xFC, 0x02, 0x80, 0x00}));
  channel.b_path_select = false;
  channel.b_out_of_band = true;
  EXPECT_EQ(wordAt(onlySection(generateSections(*vct)), kFlags), 0x15FFU) << "00 0 1 0 1 0 111 111111";
}

TEST(VctSections, EveryFlagHasABitOfItsOwn) {
  const VctTable vct = makeVct(kCable);
  auto& channel = append(vct->p_first_channel);
  const auto flagsWith = [&](bool& flag) {
    flag = true;
    const unsigned flags = wordAt(onlySection(generateSections(*vct)), kFlags);
    flag = false;
    return flags;
  };
  EXPECT_EQ(flagsWith(channel.b_access_controlled), 0x21C0U);
  EXPECT_EQ(flagsWith(channel.b_hidden), 0x11C0U);
  EXPECT_EQ(flagsWith(channel.b_path_select), 0x09C0U);
  EXPECT_EQ(flagsWith(channel.b_out_of_band), 0x05C0U);
  EXPECT_EQ(flagsWith(channel.b_hide_guide), 0x03C0U);
  vct->i_table_id = kTerrestrial;
  EXPECT_EQ(flagsWith(channel.b_path_select), 0x0DC0U) << "reserved bits are ones";
  EXPECT_EQ(flagsWith(channel.b_hidden), 0x1DC0U);
}

TEST(VctSections, VctWithoutChannelsIsOneSection) {
  const Bytes expected = {0xC8, 0xF0, 0x0D, 0x07, 0xD0, 0xD3, 0, 0, 0, 0, 0xFC, 0};
  EXPECT_EQ(onlySection(generateSections(*makeVct(kTerrestrial))), expected);
}

TEST(VctSections, ChannelGoesToTheNextSectionWhereTheOneBeforeIsFull) {
  const VctTable full = makeVct(kTerrestrial);
  addChannel(full, 1, 500);
  addChannel(full, 2, kVctRoom - 500);
  const auto one = bytesOf(generateSections(*full));
  ASSERT_THAT(one, SizeIs(1));
  EXPECT_THAT(one[0], SizeIs(1024));

  const VctTable over = makeVct(kTerrestrial);
  addChannel(over, 1, 500);
  addChannel(over, 2, kVctRoom - 500 + 1);
  addChannel(over, 3, 32);
  const auto two = bytesOf(generateSections(*over));
  EXPECT_THAT(channelCounts(two), ElementsAre(1, 2));
  EXPECT_EQ(two[1][6], 1) << "section_number";
  EXPECT_EQ(two[0][7], 1) << "last_section_number";
}

TEST(VctSections, OwnDescriptorsFollowTheLastChannelIntoFurtherSections) {
  const VctTable vct = makeVct(kTerrestrial);
  addChannel(vct, 1, kVctRoom - 200);
  addLoop(*vct, 200);
  EXPECT_THAT(channelCounts(bytesOf(generateSections(*vct))), ElementsAre(1));
  addLoop(*vct, 1000);
  addLoop(*vct, 100);
  EXPECT_THAT(channelCounts(bytesOf(generateSections(*vct))), ElementsAre(1, 0, 0));
}

TEST(VctSections, ChannelThatFitsNoSectionYieldsNothing) {
  const VctTable fits = makeVct(kCable);
  addChannel(fits, 1, kVctRoom);
  EXPECT_THAT(bytesOf(generateSections(*fits)), SizeIs(1));
  const VctTable above = makeVct(kCable);
  addChannel(above, 1, 32);
  addChannel(above, 2, kVctRoom + 1);
  EXPECT_EQ(generateSections(*above), nullptr);
}

TEST(VctSections, A257thSectionYieldsNothing) {
  const VctTable vct = makeVct(kCable);
  for (std::uint16_t i = 0; i < 256; ++i) addChannel(vct, i, kVctRoom);
  EXPECT_THAT(bytesOf(generateSections(*vct)), SizeIs(256));
  addDescriptor(*vct, 0x80, {});
  EXPECT_EQ(generateSections(*vct), nullptr);
}

TEST(VctSections, ValuesAboveTheirFieldsDoNotSpill) {
  const VctTable vct = makeVct(kCable);
  auto& channel = append(vct->p_first_channel);
  channel.i_major_number = 0xFC00;
  channel.i_minor_number = 0xFC00;
  channel.i_etm_location = 0xFC;
  channel.i_service_type = 0xC0;
  const Bytes section = onlySection(generateSections(*vct));
  EXPECT_EQ(Bytes(section.begin() + 24, section.begin() + 27), Bytes({0xF0, 0, 0}));
  EXPECT_EQ(wordAt(section, kFlags), 0x01C0U);
}
