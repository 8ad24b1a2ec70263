#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "interface/psi/section.h"
#include "interface/psi/sectioning.h"
#include "programs/tables/descriptors/bytes.h"

/// Sections as they lie in a capture, ISO/IEC 13818-1 clause 2.4.4.11.

namespace vantor::tables {

/// The section_length of a section of which at least the first three bytes are there.
inline std::size_t sectionLength(std::string_view bytes) { return wordAt(bytes, 1) & kSectionLengthMask; }

/// What makes a section unusable.
enum class SectionFault { none, crc, length, content, interrupted };

/// One whole section whose length and, where it has one, CRC_32 are right.
class Section {
 public:
  /// Looks at a section that is as long as its section_length says.
  static SectionFault check(std::string_view bytes);

  /// `bytes` have passed the check.
  explicit Section(std::string bytes) : whole(std::move(bytes)) {}

  const std::string& bytes() const { return whole; }
  std::uint8_t tableId() const { return byteAt(whole, 0); }
  bool hasSyntax() const { return (byteAt(whole, 1) & kSectionSyntax) != 0; }

  // Of sections with the section_syntax_indicator only.
  std::uint16_t extension() const { return wordAt(whole, kExtensionOffset); }
  std::uint8_t version() const { return byteAt(whole, kVersionOffset) >> 1 & kMaxVersion; }
  bool currentNext() const { return (byteAt(whole, kVersionOffset) & kCurrentNext) != 0; }
  std::uint8_t number() const { return byteAt(whole, kSectionNumberOffset); }
  std::uint8_t lastNumber() const { return byteAt(whole, kLastSectionNumberOffset); }
  /// Between last_section_number and CRC_32.
  std::string_view payload() const {
    return std::string_view(whole).substr(kLongSectionHeaderSize, whole.size() - kSectionOverhead);
  }

 private:
  std::string whole;
};

/// Sections of one subtable, by section_number.
using NumberedSections = std::map<std::uint8_t, Section>;

}  // namespace vantor::tables
