#include "servicemux/sections/PsipSections.h"

#include <algorithm>

namespace vantor {

bool PsipSections::begin() {
  SectionChain section(dvbpsi_NewPSISection(sectionSize));
  if (!section) return false;
  section->i_table_id = header.tableId;
  section->b_syntax_indicator = true;
  section->b_private_indicator = true;
  section->i_extension = header.extension;
  section->i_version = header.version;
  section->b_current_next = header.currentNext;
  section->i_number = static_cast<std::uint8_t>(count++);
  section->p_payload_start = section->p_payload_end = section->p_data + kLongSectionHeaderSize;
  dvbpsi_psi_section_t* const added = section.release();
  if (last == nullptr)
    first.reset(added);
  else
    last->p_next = added;
  last = added;
  put8(header.protocol);
  return true;
}

void PsipSections::put16(unsigned int value) {
  put8(value >> 8);
  put8(value);
}

void PsipSections::put32(std::uint32_t value) {
  put16(value >> 16);
  put16(value);
}

void PsipSections::putBytes(const std::uint8_t* bytes, std::size_t size) {
  last->p_payload_end = std::copy_n(bytes, size, last->p_payload_end);
}

void PsipSections::putDescriptors(const dvbpsi_descriptor_t* first, const dvbpsi_descriptor_t* end) {
  for (const auto* descriptor = first; descriptor != end; descriptor = descriptor->p_next) {
    put8(descriptor->i_tag);
    put8(descriptor->i_length);
    putBytes(descriptor->p_data, descriptor->i_length);
  }
}

void PsipSections::putLoop(unsigned int reserved, const dvbpsi_descriptor_t* first,
                           const dvbpsi_descriptor_t* end) {
  unsigned int length = 0;
  for (const auto* descriptor = first; descriptor != end; descriptor = descriptor->p_next)
    length += 2U + descriptor->i_length;
  put16(reserved | length);
  putDescriptors(first, end);
}

dvbpsi_psi_section_t* PsipSections::finish() {
  if (count > kMaxSections) return nullptr;
  for (auto* section = first.get(); section != nullptr; section = section->p_next) {
    section->i_last_number = static_cast<std::uint8_t>(count - 1);
    const auto size = static_cast<std::size_t>(section->p_payload_end - section->p_data) + kCrcSize;
    section->i_length = static_cast<std::uint16_t>(size - kSectionHeaderSize);
    dvbpsi_BuildPSISection(handle, section);
  }
  return first.release();
}

}  // namespace vantor
