#pragma once

#include <algorithm>
#include <initializer_list>
#include <memory>

#include "interface/dvbpsi.h"

struct SectionsDeleter {
  void operator()(dvbpsi_psi_section_t* sections) const { dvbpsi_DeletePSISections(sections); }
};
using Sections = std::unique_ptr<dvbpsi_psi_section_t, SectionsDeleter>;

/// What one hand-made section is like.
struct SectionShape {
  std::size_t size;     ///< bytes up to p_payload_end; byte i is i modulo 251
  bool syntax = false;  ///< with a CRC_32 of 4 more bytes, which go on with the pattern
  std::uint8_t tableId = 0;
  std::uint16_t extension = 0;
  std::uint8_t version = 0;
};

constexpr std::size_t kCrcSize = 4;

inline std::uint8_t patternByte(std::size_t i) { return static_cast<std::uint8_t>(i % 251); }

inline Sections makeSection(const SectionShape& shape) {
  Sections section(dvbpsi_NewPSISection(static_cast<int>(shape.size + kCrcSize)));
  section->i_table_id = shape.tableId;
  section->b_syntax_indicator = shape.syntax;
  section->i_extension = shape.extension;
  section->i_version = shape.version;
  for (std::size_t i = 0; i < shape.size + kCrcSize; ++i) section->p_data[i] = patternByte(i);
  section->p_payload_end = section->p_data + shape.size;
  return section;
}

inline Sections makeSections(std::initializer_list<SectionShape> shapes) {
  Sections first;
  dvbpsi_psi_section_t* last = nullptr;
  for (const SectionShape& shape : shapes) {
    Sections section = makeSection(shape);
    dvbpsi_psi_section_t* const added = section.release();
    if (last != nullptr)
      last->p_next = added;
    else
      first.reset(added);
    last = added;
  }
  return first;
}
