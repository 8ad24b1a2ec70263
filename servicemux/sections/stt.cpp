#include "servicemux/sections/PsipSections.h"
#include "servicemux/sections/atscGenerators.h"

namespace {

constexpr std::uint8_t kProtocol = 0;
constexpr std::size_t kFixedSize = vantor::kSectionOverhead + 8;  // protocol_version up to daylight_savings

}  // namespace

/// Clause 6.1: section_number is always 0.
dvbpsi_psi_section_t* dvbpsi_stt_sections_generate(dvbpsi_t* handle, dvbpsi_atsc_stt_t* stt) {
  const std::size_t size = kFixedSize + vantor::loopSize(stt->p_first_descriptor);
  if (size > vantor::kMaxSectionSize) return nullptr;
  const vantor::PsipHeader header{stt->i_table_id, stt->i_extension, stt->i_version, stt->b_current_next,
                                  kProtocol};
  vantor::PsipSections sections(handle, header, size);
  if (!sections.begin()) return nullptr;
  sections.put32(stt->i_system_time);
  sections.put8(stt->i_gps_utc_offset);
  sections.put16(stt->i_daylight_savings);
  sections.putDescriptors(stt->p_first_descriptor, nullptr);
  return sections.finish();
}
