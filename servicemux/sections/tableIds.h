#pragma once

/// Table ids, EN 300 468 table 2 and ATSC A/65 table 4.1.

namespace vantor {

constexpr unsigned char kPatTableId = 0x00;
constexpr unsigned char kCatTableId = 0x01;
constexpr unsigned char kPmtTableId = 0x02;
constexpr unsigned char kNitActual = 0x40;
constexpr unsigned char kSdtActual = 0x42;
constexpr unsigned char kSdtOther = 0x46;
constexpr unsigned char kEitPresentFollowingActual = 0x4E;
constexpr unsigned char kEitPresentFollowingOther = 0x4F;
constexpr unsigned char kEitScheduleActualFirst = 0x50;
constexpr unsigned char kEitScheduleActualLast = 0x5F;
constexpr unsigned char kEitScheduleOtherFirst = 0x60;
constexpr unsigned char kEitScheduleOtherLast = 0x6F;
constexpr unsigned char kTdtTableId = 0x70;
constexpr unsigned char kTotTableId = 0x73;
constexpr unsigned char kCableVct = 0xC9;

}  // namespace vantor
