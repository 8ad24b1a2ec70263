#include "interface/psi/tableIds.h"
#include "servicemux/sections/generate.h"
#include "servicemux/sections/sections.h"

namespace vantor {

namespace {

// Between table_id and section_length: no syntax indicator, and reserved bits, which are ones.
constexpr unsigned int kReservedBits = 0x7000;

}  // namespace

/// libdvbpsi counts the CRC_32 of a TOT in i_length but not in the section_length it writes, and leaves a reserved
/// bit 0.
SectionChain generateSections(dvbpsi_tot_t& tot) {
  SectionChain section = generate([&](dvbpsi_t* handle) { return dvbpsi_tot_sections_generate(handle, &tot); });
  if (!section) return nullptr;
  const unsigned int length = kReservedBits | section->i_length;
  section->p_data[1] = static_cast<std::uint8_t>(length >> 8);
  section->p_data[2] = static_cast<std::uint8_t>(length);
  if (tot.i_table_id == kTotTableId) rewriteTotCrc(*section);
  return section;
}

void rewriteTotCrc(dvbpsi_psi_section_t& section) {
  section.p_payload_end -= kCrcSize;
  dvbpsi_CalculateCRC32(&section);
  section.p_payload_end += kCrcSize;
}

}  // namespace vantor
