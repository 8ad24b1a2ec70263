#include <gmock/gmock.h>

#include <random>

#include "interface/psi/packet.h"
#include "tests/servicemux/sections/atscTables.h"

namespace {

using testing::SizeIs;
using vantor::generateSections;
using vantor::SttTable;

SttTable makeStt() { return SttTable(dvbpsi_atsc_NewSTT(0xCD, 0, 0, true)); }

/// An STT in plain values.
struct Stt {
  std::uint32_t systemTime;
  std::uint8_t gpsUtcOffset;
  std::uint16_t daylightSavings;
  std::vector<std::pair<std::uint8_t, Bytes>> descriptors;

  bool operator==(const Stt& other) const {
    return systemTime == other.systemTime && gpsUtcOffset == other.gpsUtcOffset &&
           daylightSavings == other.daylightSavings && descriptors == other.descriptors;
  }
};

void take(void* result, dvbpsi_atsc_stt_t* stt) {
  Stt plain{stt->i_system_time, stt->i_gps_utc_offset, stt->i_daylight_savings, {}};
  for (const auto* it = stt->p_first_descriptor; it != nullptr; it = it->p_next)
    plain.descriptors.emplace_back(it->i_tag, Bytes(it->p_data, it->p_data + it->i_length));
  static_cast<std::vector<Stt>*>(result)->push_back(plain);
  dvbpsi_atsc_DeleteSTT(stt);
}

void attach(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* result) {
  EXPECT_EQ(tableId, 0xCD);
  dvbpsi_atsc_AttachSTT(handle, tableId, extension, &take, result);
}

/// What libdvbpsi's decoder makes of a section that it gets in packets.
std::vector<Stt> decoded(const Bytes& section) {
  std::vector<Stt> result;
  const std::unique_ptr<dvbpsi_t, decltype(&dvbpsi_delete)> handle(dvbpsi_new(nullptr, DVBPSI_MSG_NONE),
                                                                   &dvbpsi_delete);
  dvbpsi_AttachDemux(handle.get(), &attach, &result);
  Bytes payload = {0};
  payload.insert(payload.end(), section.begin(), section.end());
  constexpr std::size_t kPayloadSize = vantor::kPacketSize - 4;
  payload.resize((payload.size() + kPayloadSize - 1) / kPayloadSize * kPayloadSize, 0xFF);
  for (std::size_t at = 0; at < payload.size(); at += kPayloadSize) {
    const auto counter = static_cast<std::uint8_t>(at / kPayloadSize);
    Bytes packet = {0x47, static_cast<std::uint8_t>(at == 0 ? 0x5F : 0x1F), 0xFB,
                    static_cast<std::uint8_t>(0x10 | counter)};
    packet.insert(packet.end(), &payload[at], &payload[at] + kPayloadSize);
    dvbpsi_packet_push(handle.get(), packet.data());
  }
  dvbpsi_DetachDemux(handle.get());
  return result;
}

}  // namespace

TEST(SttSections, AreWrittenBitByBit) {
  const SttTable stt = makeStt();
  stt->i_system_time = 0x12345678;
  stt->i_gps_utc_offset = 18;
  stt->i_daylight_savings = 0x9D02;
  const Bytes expected = {0xCD, 0xF0, 0x11, 0x00, 0x00, 0xC1, 0x00, 0x00,
                          0x00, 0x12, 0x34, 0x56, 0x78, 0x12, 0x9D, 0x02};
  EXPECT_EQ(onlySection(generateSections(*stt)), expected);
  addDescriptor(*stt, 0x80, {0xAA, 0xBB});
  const Bytes section = onlySection(generateSections(*stt));
  EXPECT_EQ(section.at(2), 0x15);
  EXPECT_EQ(Bytes(section.begin() + 16, section.end()), Bytes({0x80, 0x02, 0xAA, 0xBB}));
}

TEST(SttSections, SttThatFitsNoSectionYieldsNothing) {
  const SttTable fits = makeStt();
  addLoop(*fits, 1004);
  const auto sections = bytesOf(generateSections(*fits));
  ASSERT_THAT(sections, SizeIs(1));
  EXPECT_THAT(sections[0], SizeIs(1024));
  const SttTable above = makeStt();
  addLoop(*above, 1005);
  EXPECT_EQ(generateSections(*above), nullptr);
}

TEST(SttSections, RandomTablesArriveWhole) {
  std::mt19937 random(20260305);
  const auto number = [&random](unsigned to) { return std::uniform_int_distribution<unsigned>(0, to)(random); };
  for (int round = 0; round < 10000; ++round) {
    Stt plain{number(0xFFFFFFFF),
              static_cast<std::uint8_t>(number(0xFF)),
              static_cast<std::uint16_t>(number(0xFFFF)),
              {}};
    const unsigned longest = number(247);
    for (unsigned i = number(4); i > 0; --i) {
      plain.descriptors.emplace_back(static_cast<std::uint8_t>(number(0xFF)), Bytes(number(longest)));
      for (auto& byte : plain.descriptors.back().second) byte = static_cast<std::uint8_t>(number(0xFF));
    }
    const SttTable stt = makeStt();
    stt->i_system_time = plain.systemTime;
    stt->i_gps_utc_offset = plain.gpsUtcOffset;
    stt->i_daylight_savings = plain.daylightSavings;
    for (const auto& [tag, data] : plain.descriptors) addDescriptor(*stt, tag, data);
    const auto sections = bytesOf(generateSections(*stt));
    ASSERT_THAT(sections, SizeIs(1)) << "round " << round;
    const auto arrived = decoded(sections[0]);
    ASSERT_THAT(arrived, SizeIs(1)) << "round " << round;
    EXPECT_EQ(wordAt(sections[0], 14), plain.daylightSavings);
    plain.daylightSavings &= 0xFF;  // all that libdvbpsi's decoder takes of it
    ASSERT_TRUE(arrived[0] == plain) << "round " << round;
  }
}
