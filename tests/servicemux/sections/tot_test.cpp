#include "tests/servicemux/sections/atscTables.h"

namespace {

using vantor::generateSections;
using vantor::TotTable;

TotTable makeTot(std::uint8_t tableId) { return TotTable(dvbpsi_tot_new(tableId, 0, 0, true, 0xC079123456)); }

/// Up to where its payload ends, which is behind a CRC_32.
Bytes bytesOf(const dvbpsi_psi_section_t& section) { return {section.p_data, section.p_payload_end}; }

}  // namespace

TEST(TotSections, TdtHasNoCrc) {
  const auto section = generateSections(*makeTot(0x70));
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(bytesOf(*section), Bytes({0x70, 0x70, 0x05, 0xC0, 0x79, 0x12, 0x34, 0x56}));
}

TEST(TotSections, LengthOfATotCountsItsCrc) {
  const TotTable tot = makeTot(0x73);
  std::uint8_t data[] = {0xAA, 0xBB, 0xCC};
  dvbpsi_tot_descriptor_add(tot.get(), 0x80, sizeof data, data);
  const auto section = generateSections(*tot);
  ASSERT_NE(section, nullptr);
  const Bytes bytes = bytesOf(*section);
  EXPECT_EQ(Bytes(bytes.begin(), bytes.end() - 4),
            Bytes({0x73, 0x70, 0x10, 0xC0, 0x79, 0x12, 0x34, 0x56, 0xF0, 0x05, 0x80, 0x03, 0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(crcOver(bytes), 0U);
}

TEST(TotSections, CrcFollowsAChange) {
  const TotTable tot = makeTot(0x73);
  std::uint8_t data[] = {0xAA};
  dvbpsi_tot_descriptor_add(tot.get(), 0x80, sizeof data, data);
  const auto section = generateSections(*tot);
  ++section->p_data[7];
  EXPECT_NE(crcOver(bytesOf(*section)), 0U);
  vantor::rewriteTotCrc(*section);
  EXPECT_EQ(crcOver(bytesOf(*section)), 0U);
  EXPECT_EQ(bytesOf(*section).size(), 3U + 0x0E);
}
