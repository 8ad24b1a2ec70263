#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "interface/psi/section.h"

/// How tables are divided into sections. The converters and the makers of sections both go by this file, so that
/// whatever a converter accepts can also be divided.

namespace vantor {

/// section_number and last_section_number have 8 bits.
constexpr std::size_t kMaxSections = 256;

/// Bytes of a whole section, for all tables but the EIT: ISO/IEC 13818-1 clause 2.4.4, EN 300 468 clause 5.1.1.
constexpr std::size_t kMaxSectionSize = 1024;

/// Bytes of a section with the long header around its payload: the header up to last_section_number, and CRC_32.
constexpr std::size_t kSectionOverhead = kLongSectionHeaderSize + kCrcSize;

/// What one section of a table can hold. An item is never divided.
struct SectionRoom {
  std::size_t bytes;     ///< for items
  std::size_t itemHead;  ///< bytes of an item before its descriptors
};

// ISO/IEC 13818-1 clause 2.4.4.3. How many programs a section has at most is the choice of this system.
constexpr std::size_t kPatProgramSize = 4;
constexpr std::size_t kProgramsPerPatSection = 100;
// Clause 2.4.4.8: PCR_PID and program_info_length, and a stream up to ES_info_length.
constexpr std::size_t kPmtHead = 4;
constexpr std::size_t kPmtStreamHead = 5;
// ISO/IEC 13818-1 clause 2.4.4.6: descriptors alone.
constexpr SectionRoom kCatRoom{kMaxSectionSize - kSectionOverhead, 0};
// EN 300 468 clause 5.2.1: the lengths of two loops around network descriptors, which come first, and streams.
constexpr SectionRoom kNitRoom{kMaxSectionSize - kSectionOverhead - 4, 6};
// Clause 5.2.3: original_network_id and a reserved byte before the services.
constexpr std::size_t kSdtHead = 3;
constexpr SectionRoom kSdtRoom{kMaxSectionSize - kSectionOverhead - kSdtHead, 5};
// Clause 5.2.4: transport_stream_id, original_network_id, segment_last_section_number and last_table_id before the
// events. Sections may have 4096 bytes, but libdvbpsi begins another above 4094.
constexpr std::size_t kEitSegmentLastOffset = 4;
constexpr std::size_t kEitLastTableIdOffset = 5;
constexpr std::size_t kEitHead = 6;
constexpr SectionRoom kEitRoom{4094 - kSectionOverhead - kEitHead, 12};

/// Bytes of a whole MGT section, ATSC A/65 clause 6.2.
constexpr std::size_t kMaxMgtSectionSize = 4096;
// ATSC A/65 clause 6.2: protocol_version and tables_defined before the tables, and behind them the length of the
// MGT's own descriptors.
constexpr std::size_t kMgtHead = 3;
constexpr SectionRoom kMgtRoom{kMaxMgtSectionSize - kSectionOverhead - kMgtHead - 2, 11};
// Clause 6.3: protocol_version, num_channels_in_section and the length of the VCT's own descriptors, which come
// last.
constexpr SectionRoom kVctRoom{kMaxSectionSize - kSectionOverhead - 4, 32};

// EN 300 468 clause 5.2.4, TS 101 211 clause 4.1.4: a schedule has segments of three hours, which begin with 00:00
// of its first day and have 8 section numbers each.
constexpr int kSegmentHours = 3;
constexpr int kSegmentsPerDay = 24 / kSegmentHours;
constexpr int kSegmentsPerTable = 32;
constexpr std::size_t kSectionsPerSegment = 8;

/// The segment of a schedule that holds a start_time. None when its hour is not two decimal digits from 00 to 23,
/// as in an undefined time, or when the day is outside all segments. `firstDay` is an MJD.
inline std::optional<int> segmentOf(std::uint64_t startTime, int firstDay) {
  const int day = static_cast<int>(startTime >> 24 & 0xFFFF) - firstDay;
  const int tens = static_cast<int>(startTime >> 20 & 0x0F);
  const int ones = static_cast<int>(startTime >> 16 & 0x0F);
  const int hour = tens * 10 + ones;
  if (day < 0 || day >= kSegmentsPerTable / kSegmentsPerDay || ones > 9 || hour > 23) return std::nullopt;
  return day * kSegmentsPerDay + hour / kSegmentHours;
}

}  // namespace vantor
