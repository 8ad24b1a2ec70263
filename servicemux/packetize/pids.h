#pragma once

/// The PIDs that the standards give to a table: ISO/IEC 13818-1 table 2-3, EN 300 468 table 1.

namespace vantor {

constexpr unsigned short kPatPid = 0x0000;
constexpr unsigned short kCatPid = 0x0001;
constexpr unsigned short kNitPid = 0x0010;
constexpr unsigned short kSdtPid = 0x0011;
constexpr unsigned short kEitPid = 0x0012;

}  // namespace vantor
