#include "programs/tables/sections/Section.h"

#include "interface/dvbpsi.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kCrcSize = 4;
constexpr std::size_t kMinSyntaxSize = 8 + kCrcSize;
constexpr std::size_t kMinTotSize = 10 + kCrcSize;  // EN 300 468 clause 5.2.6
constexpr std::uint8_t kTotTableId = 0x73;          // the one section with a CRC_32 but without the syntax

bool crcIsRight(std::string bytes) {
  dvbpsi_psi_section_t section{};
  section.i_table_id = byteAt(bytes, 0);
  section.b_syntax_indicator = true;
  section.p_data = reinterpret_cast<std::uint8_t*>(bytes.data());
  section.p_payload_end = section.p_data + bytes.size() - kCrcSize;
  return dvbpsi_ValidPSISection(&section);
}

}  // namespace

SectionFault Section::check(std::string_view bytes) {
  const bool syntax = (byteAt(bytes, 1) & 0x80) != 0;
  const bool tot = byteAt(bytes, 0) == kTotTableId;
  if (sectionLength(bytes) > kMaxSectionLength) return SectionFault::length;
  if (!syntax && !tot) return SectionFault::none;
  if (bytes.size() < (syntax ? kMinSyntaxSize : kMinTotSize)) return SectionFault::length;
  if (!crcIsRight(std::string(bytes))) return SectionFault::crc;
  if (syntax && byteAt(bytes, 6) > byteAt(bytes, 7)) return SectionFault::content;
  return SectionFault::none;
}

}  // namespace vantor::tables
