#include "programs/tables/sections/Section.h"

#include "interface/checks/sectionCrc.h"

namespace vantor::tables {

namespace {

/// The TOT is the one section with a CRC_32 but without the syntax.
constexpr std::size_t kMinTotSize = kTotHead + kCrcSize;

}  // namespace

SectionFault Section::check(std::string_view bytes) {
  const bool syntax = (byteAt(bytes, 1) & kSectionSyntax) != 0;
  if (sectionLength(bytes) > kMaxSectionLength) return SectionFault::length;
  if (!endsWithCrc(bytes)) return SectionFault::none;
  if (bytes.size() < (syntax ? kSectionOverhead : kMinTotSize)) return SectionFault::length;
  if (!isCrcRight(bytes)) return SectionFault::crc;
  if (syntax && byteAt(bytes, kSectionNumberOffset) > byteAt(bytes, kLastSectionNumberOffset))
    return SectionFault::content;
  return SectionFault::none;
}

}  // namespace vantor::tables
