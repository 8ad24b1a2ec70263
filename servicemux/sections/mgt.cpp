#include "interface/psi/pids.h"
#include "servicemux/sections/PsipSections.h"
#include "servicemux/sections/atscGenerators.h"

namespace {

using vantor::PsipSections;

/// ATSC A/65 clause 6.2.
struct MgtLayout {
  static constexpr vantor::SectionRoom kRoom = vantor::kMgtRoom;
  static constexpr unsigned int kReserved = 0xF000;

  static void putCount(PsipSections& sections, unsigned int tables) { sections.put16(tables); }

  static void putHead(PsipSections& sections, const dvbpsi_atsc_mgt_table_t& table) {
    sections.put16(table.i_table_type);
    sections.put16(0xE000U | (table.i_table_type_pid & vantor::kMaxPid));
    sections.put8(0xE0U | (table.i_table_type_version & vantor::kMaxVersion));
    sections.put32(table.i_number_bytes);
  }
};

}  // namespace

dvbpsi_psi_section_t* dvbpsi_mgt_sections_generate(dvbpsi_t* handle, dvbpsi_atsc_mgt_t* mgt) {
  const vantor::PsipHeader header{mgt->i_table_id, mgt->i_extension, mgt->i_version, mgt->b_current_next,
                                  mgt->i_protocol};
  return vantor::generatePsip(PsipSections(handle, header, vantor::kMaxMgtSectionSize), MgtLayout(),
                              mgt->p_first_table, mgt->p_first_descriptor);
}
