#pragma once

#include <cstdint>

/// table_ids: ISO/IEC 13818-1 table 2-31, ISO/IEC 13818-6 clause 9.2, EN 300 468 table 2, ATSC A/65 table 4.1,
/// SCTE 35 clause 9.2.

namespace vantor {

constexpr std::uint8_t kPatTableId = 0x00;
constexpr std::uint8_t kCatTableId = 0x01;
constexpr std::uint8_t kPmtTableId = 0x02;
constexpr std::uint8_t kTsdtTableId = 0x03;

constexpr std::uint8_t kDsmCcFirst = 0x38;
constexpr std::uint8_t kDsmCcLast = 0x3F;

constexpr std::uint8_t kNitActualTableId = 0x40;
constexpr std::uint8_t kNitOtherTableId = 0x41;
constexpr std::uint8_t kSdtActualTableId = 0x42;
constexpr std::uint8_t kSdtOtherTableId = 0x46;
constexpr std::uint8_t kBatTableId = 0x4A;
constexpr std::uint8_t kEitPfActualTableId = 0x4E;
constexpr std::uint8_t kEitPfOtherTableId = 0x4F;
constexpr std::uint8_t kEitScheduleActualFirst = 0x50;
constexpr std::uint8_t kEitScheduleActualLast = 0x5F;
constexpr std::uint8_t kEitScheduleOtherFirst = 0x60;
constexpr std::uint8_t kEitScheduleOtherLast = 0x6F;
constexpr std::uint8_t kTdtTableId = 0x70;
constexpr std::uint8_t kRstTableId = 0x71;
constexpr std::uint8_t kStuffingTableId = 0x72;
constexpr std::uint8_t kTotTableId = 0x73;
constexpr std::uint8_t kAitTableId = 0x74;
constexpr std::uint8_t kDitTableId = 0x7E;
constexpr std::uint8_t kSitTableId = 0x7F;

// EN 300 468 leaves 0x80 to 0x8F to conditional access; that the first two are ECMs, of even and odd control words,
// is a custom.
constexpr std::uint8_t kEvenEcmTableId = 0x80;
constexpr std::uint8_t kOddEcmTableId = 0x81;
constexpr std::uint8_t kEmmFirst = 0x82;
constexpr std::uint8_t kEmmLast = 0x8F;

constexpr std::uint8_t kMgtTableId = 0xC7;
constexpr std::uint8_t kTerrestrialVctTableId = 0xC8;
constexpr std::uint8_t kCableVctTableId = 0xC9;
constexpr std::uint8_t kRrtTableId = 0xCA;
constexpr std::uint8_t kAtscEitTableId = 0xCB;
constexpr std::uint8_t kAtscEttTableId = 0xCC;
constexpr std::uint8_t kSttTableId = 0xCD;

constexpr std::uint8_t kSpliceInfoTableId = 0xFC;

}  // namespace vantor
