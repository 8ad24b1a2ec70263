#pragma once

#include <cstddef>
#include <cstdint>

/// The layout of a section, ISO/IEC 13818-1 clauses 2.4.4.1 and 2.4.4.11.

namespace vantor {

/// Bytes up to and with section_length, and of the long header that ends with last_section_number.
constexpr std::size_t kSectionHeaderSize = 3;
constexpr std::size_t kLongSectionHeaderSize = 8;
constexpr std::size_t kCrcSize = 4;

/// Byte 1: section_syntax_indicator, reserved_future_use and the high bits of section_length.
constexpr std::uint8_t kSectionSyntax = 0x80;
constexpr std::uint8_t kReservedFutureUse = 0x40;
constexpr unsigned int kSectionLengthMask = 0x0FFF;
constexpr std::uint8_t kCurrentNext = 0x01;  // of the byte at kVersionOffset

/// Where the fields of the long header begin.
constexpr std::size_t kExtensionOffset = 3;
constexpr std::size_t kVersionOffset = 5;  // version_number and current_next_indicator
constexpr std::size_t kSectionNumberOffset = 6;
constexpr std::size_t kLastSectionNumberOffset = 7;

/// A TDT and a TOT up to descriptors_loop_length, EN 300 468 clauses 5.2.5 and 5.2.6; UTC_time is the same in both.
constexpr std::size_t kTdtSize = 8;
constexpr std::size_t kTotHead = kTdtSize + 2;

/// ms from the end of a section to the beginning of the next one with the same PID, table_id and
/// table_id_extension, at least: EN 300 468 clause 5.1.4.1. No period can be shorter.
constexpr unsigned int kSectionDistance = 25;

/// The greatest section_length there is, of private sections and EITs.
constexpr std::size_t kMaxSectionLength = 4093;
/// Such a section as a whole.
constexpr std::size_t kLongestSection = kSectionHeaderSize + kMaxSectionLength;
/// version_number has 5 bits.
constexpr int kMaxVersion = 31;

}  // namespace vantor
