#include "interface/psi/tableLimits.h"

#include <gtest/gtest.h>

#include <array>

using namespace vantor::psi;

namespace {

struct Case {
  int table_id;
  int section_number;
  unsigned int cable;
  unsigned int terrestrial;
};

unsigned int maximumOf(const Case& of, Network network) {
  const auto limit =
      limitOf(static_cast<std::uint8_t>(of.table_id), static_cast<std::uint8_t>(of.section_number), network);
  return limit ? limit->maximum : 0;
}

}  // namespace

TEST(TableLimits, AreThoseOfTheStandards) {
  constexpr std::array kCases{
      Case{0x00, 0, 500, 500},        // PAT
      Case{0x01, 0, 0, 0},            // CAT: no standard has one
      Case{0x02, 0, 500, 500},        // PMT
      Case{0x40, 0, 10000, 10000},    // NIT actual
      Case{0x41, 0, 10000, 10000},    // NIT other
      Case{0x42, 0, 2000, 2000},      // SDT actual
      Case{0x46, 0, 10000, 10000},    // SDT other
      Case{0x4A, 0, 10000, 10000},    // BAT
      Case{0x4E, 0, 2000, 2000},      // EIT p/f actual
      Case{0x4F, 0, 10000, 20000},    // EIT p/f other
      Case{0x50, 0, 10000, 10000},    // EIT schedule actual, today
      Case{0x50, 63, 10000, 10000},   // its last section
      Case{0x50, 64, 10000, 30000},   // tomorrow
      Case{0x51, 255, 10000, 30000},  // the eighth day
      Case{0x52, 0, 30000, 30000},    // the ninth
      Case{0x5F, 255, 30000, 30000},  // the last
      Case{0x60, 0, 10000, 60000},    // the same of other streams
      Case{0x60, 63, 10000, 60000},  Case{0x60, 64, 10000, 300000},  Case{0x61, 255, 10000, 300000},
      Case{0x62, 0, 30000, 300000},  Case{0x6F, 255, 30000, 300000}, Case{0x70, 0, 30000, 30000},  // TDT
      Case{0x73, 0, 30000, 30000},                                                                 // TOT
      Case{0x71, 0, 0, 0},                                                                         // RST
      Case{0x80, 0, 0, 0},                                                                         // ECM
      Case{0xC7, 0, 150, 150},                                                                     // MGT
      Case{0xC8, 0, 400, 400},      // VCT terrestrial
      Case{0xC9, 0, 400, 400},      // VCT cable
      Case{0xCA, 0, 60000, 60000},  // RRT
      Case{0xCD, 0, 1000, 1000},    // STT
      Case{0xFF, 0, 0, 0},
  };
  for (const Case& of : kCases) {
    EXPECT_EQ(maximumOf(of, Network::kCableOrSatellite), of.cable)
        << std::hex << of.table_id << "/" << of.section_number;
    EXPECT_EQ(maximumOf(of, Network::kTerrestrial), of.terrestrial)
        << std::hex << of.table_id << "/" << of.section_number;
  }
}

TEST(TableLimits, TheGapIsForPsiAndSi) {
  for (const int id : {0x00, 0x01, 0x02, 0x03, 0x40, 0x46, 0x4E, 0x4F, 0x50, 0x6F, 0x70, 0x71, 0x73})
    EXPECT_TRUE(keepsGap(static_cast<std::uint8_t>(id))) << std::hex << id;
  for (const int id : {0x3B, 0x72, 0x74, 0x80, 0x81, 0x82, 0xC7, 0xC8, 0xCC, 0xFF})
    EXPECT_FALSE(keepsGap(static_cast<std::uint8_t>(id))) << std::hex << id;
}
