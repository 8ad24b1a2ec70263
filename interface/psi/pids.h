#pragma once

/// The PIDs that the standards give to a table: ISO/IEC 13818-1 table 2-3, EN 300 468 table 1, ATSC A/65
/// clause 4.

namespace vantor {

constexpr unsigned short kPatPid = 0x0000;
constexpr unsigned short kCatPid = 0x0001;
constexpr unsigned short kTsdtPid = 0x0002;
constexpr unsigned short kNitPid = 0x0010;
constexpr unsigned short kSdtPid = 0x0011;  // also of BATs
constexpr unsigned short kEitPid = 0x0012;
constexpr unsigned short kRstPid = 0x0013;
constexpr unsigned short kTimePid = 0x0014;  // TDT and TOT
constexpr unsigned short kDitPid = 0x001E;
constexpr unsigned short kSitPid = 0x001F;
constexpr unsigned short kFirstProgramPid = 0x0020;  // below it all are reserved by EN 300 468
constexpr unsigned short kCaEcmPid = 0x0021;         // of the fixed CA streams, by this system's own choice
constexpr unsigned short kCaEmmPid = 0x0022;
constexpr unsigned short kPsipPid = 0x1FFB;
constexpr unsigned short kNullPid = 0x1FFF;
constexpr unsigned short kMaxPid = kNullPid;

}  // namespace vantor
