#pragma once

#include "interface/dvbpsi.h"

/// Section generators for ATSC's tables, named and called like those that libdvbpsi has for other tables. libdvbpsi
/// 1.3 only decodes ATSC's; a version that has a generator of one of these names is used instead of ours. They
/// return null when an item is too long for a section, when there would be more than 256 sections, or when there is
/// no memory. The caller frees the sections with dvbpsi_DeletePSISections.

extern "C" {

/// ATSC A/65 clause 6.2, sections of at most 4096 bytes.
dvbpsi_psi_section_t* dvbpsi_mgt_sections_generate(dvbpsi_t* handle, dvbpsi_atsc_mgt_t* mgt);

/// Clause 6.3, at most 1024 bytes. path_select and out_of_band are sent where the table_id is that of a cable VCT.
dvbpsi_psi_section_t* dvbpsi_vct_sections_generate(dvbpsi_t* handle, dvbpsi_atsc_vct_t* vct);

/// Clause 6.1, one section of at most 1024 bytes.
dvbpsi_psi_section_t* dvbpsi_stt_sections_generate(dvbpsi_t* handle, dvbpsi_atsc_stt_t* stt);
}
