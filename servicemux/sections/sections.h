#pragma once

#include <vector>

#include "servicemux/sections/SectionChain.h"

/// From libdvbpsi's tables to sections, through its generators; where these fall short of what has to be on air,
/// their sections are put right here.

namespace vantor {

/// For each item of a table's list, whether it begins a new section though the one before has room. Shorter than
/// the list where the rest does not.
using SectionStarts = std::vector<bool>;

/// How the events of an EIT are laid out in sections.
struct EITLayout {
  bool standard = false;        ///< EN 300 468 clause 5.2.4, else one after the other as they fit
  bool presentMissing = false;  ///< present/following: the first event is the following one
  int firstDay = 0;             ///< schedule: the MJD that segment 0 starts at
  unsigned char lastTableId = 0;
  SectionStarts starts;
};

/// At most 100 programs a section.
SectionChain generateSections(dvbpsi_pat_t& pat);
SectionChain generateSections(dvbpsi_cat_t& cat);
/// As NIT actual, table_id 0x40.
SectionChain generateSections(dvbpsi_nit_t& nit);
SectionChain generateSections(dvbpsi_pmt_t& pmt);
/// As SDT actual (0x42) or other (0x46).
SectionChain generateSections(dvbpsi_sdt_t& sdt, unsigned char tableId, const SectionStarts& starts);
SectionChain generateSections(dvbpsi_eit_t& eit, const EITLayout& layout);
SectionChain generateSections(dvbpsi_atsc_mgt_t& mgt);
/// Terrestrial or cable, as its table_id says.
SectionChain generateSections(dvbpsi_atsc_vct_t& vct);
SectionChain generateSections(dvbpsi_atsc_stt_t& stt);
/// A TDT or a TOT with descriptors, as its table_id says.
SectionChain generateSections(dvbpsi_tot_t& tot);

/// Writes the CRC_32 of a TOT section anew. The section has no syntax indicator, so its payload ends behind that.
void rewriteTotCrc(dvbpsi_psi_section_t& section);

}  // namespace vantor
