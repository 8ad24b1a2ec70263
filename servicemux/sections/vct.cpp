#include "interface/psi/tableIds.h"
#include "servicemux/sections/PsipSections.h"
#include "servicemux/sections/atscGenerators.h"

namespace {

using vantor::PsipSections;

unsigned int bit(bool value, unsigned int number) { return value ? 1U << number : 0U; }

/// ATSC A/65 clauses 6.3.1, terrestrial, and 6.3.2, cable. Only a cable VCT has path_select and out_of_band; a
/// terrestrial one has two reserved bits there.
struct VctLayout {
  static constexpr vantor::SectionRoom kRoom = vantor::kVctRoom;
  static constexpr unsigned int kReserved = 0xFC00;

  static void putCount(PsipSections& sections, unsigned int channels) { sections.put8(channels); }

  void putHead(PsipSections& sections, const dvbpsi_atsc_vct_channel_t& channel) const {
    sections.putBytes(channel.i_short_name, sizeof channel.i_short_name);
    const unsigned int numbers =
        0xF00000U | (channel.i_major_number & 0x3FFU) << 10 | (channel.i_minor_number & 0x3FFU);
    sections.put8(numbers >> 16);
    sections.put16(numbers);
    sections.put8(channel.i_modulation);
    sections.put32(channel.i_carrier_freq);
    sections.put16(channel.i_channel_tsid);
    sections.put16(channel.i_program_number);
    sections.put16((channel.i_etm_location & 3U) << 14 | bit(channel.b_access_controlled, 13) |
                   bit(channel.b_hidden, 12) | bit(!isCable || channel.b_path_select, 11) |
                   bit(!isCable || channel.b_out_of_band, 10) | bit(channel.b_hide_guide, 9) | 0x1C0U |
                   (channel.i_service_type & 0x3FU));
    sections.put16(channel.i_source_id);
  }

  const bool isCable;
};

}  // namespace

dvbpsi_psi_section_t* dvbpsi_vct_sections_generate(dvbpsi_t* handle, dvbpsi_atsc_vct_t* vct) {
  const vantor::PsipHeader header{vct->i_table_id, vct->i_extension, vct->i_version, vct->b_current_next,
                                  vct->i_protocol};
  return vantor::generatePsip(PsipSections(handle, header, vantor::kMaxSectionSize),
                              VctLayout{vct->i_table_id == vantor::kCableVctTableId}, vct->p_first_channel,
                              vct->p_first_descriptor);
}
