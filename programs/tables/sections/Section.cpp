#include "programs/tables/sections/Section.h"

#include "interface/dvbpsi.h"
#include "interface/psi/tableIds.h"

namespace vantor::tables {

namespace {

/// The TOT is the one section with a CRC_32 but without the syntax.
constexpr std::size_t kMinTotSize = kTotHead + kCrcSize;

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
  const bool syntax = (byteAt(bytes, 1) & kSectionSyntax) != 0;
  const bool tot = byteAt(bytes, 0) == kTotTableId;
  if (sectionLength(bytes) > kMaxSectionLength) return SectionFault::length;
  if (!syntax && !tot) return SectionFault::none;
  if (bytes.size() < (syntax ? kSectionOverhead : kMinTotSize)) return SectionFault::length;
  if (!crcIsRight(std::string(bytes))) return SectionFault::crc;
  if (syntax && byteAt(bytes, kSectionNumberOffset) > byteAt(bytes, kLastSectionNumberOffset))
    return SectionFault::content;
  return SectionFault::none;
}

}  // namespace vantor::tables
