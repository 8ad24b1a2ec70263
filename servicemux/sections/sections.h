#pragma once

#include <vector>

#include "interface/psi/tableIds.h"
#include "servicemux/sections/SectionChain.h"

/// Makes the sections of libdvbpsi's tables. libdvbpsi's own generators do the work; where what they make is not
/// what has to be on air, it is corrected here. generateSections returns null when no sections can be made.

namespace vantor {

/// One entry for each item of a table's list: true when the item begins a new section although the section before
/// it still has room. Entries may be missing at the end of the list; they count as false.
using SectionStarts = std::vector<bool>;

/// How a NIT is laid out in sections.
struct NITLayout {
  /// A NIT other and a BAT differ in nothing else.
  unsigned char tableId = kNitActualTableId;
  /// Each section has all descriptors of the network; else these come first, in as many sections as they need.
  bool repeatsDescriptors = false;
  SectionStarts starts;  ///< of the transport streams
};

/// How the events of an EIT are laid out in sections.
struct EITLayout {
  /// True for the layout of EN 300 468 clause 5.2.4. False for packed events: one after the other as they fit, in
  /// sections that are numbered from 0 on and make up one segment.
  bool standard = false;
  /// Standard present/following only: there is no present event, the first one is the following one.
  bool presentMissing = false;
  /// Standard schedule only: the MJD of the day with which segment 0 begins.
  int firstDay = 0;
  SectionStarts starts;
};

/// At most kProgramsPerPatSection programs a section.
SectionChain generateSections(dvbpsi_pat_t& pat);
SectionChain generateSections(dvbpsi_cat_t& cat);
SectionChain generateSections(dvbpsi_nit_t& nit, const NITLayout& layout = {});
SectionChain generateSections(dvbpsi_pmt_t& pmt);
/// `tableId` is that of an SDT actual or of an SDT other.
SectionChain generateSections(dvbpsi_sdt_t& sdt, unsigned char tableId, const SectionStarts& starts);
SectionChain generateSections(dvbpsi_eit_t& eit, const EITLayout& layout);
SectionChain generateSections(dvbpsi_atsc_mgt_t& mgt);
/// The table's own table_id tells whether it is terrestrial or cable.
SectionChain generateSections(dvbpsi_atsc_vct_t& vct);
SectionChain generateSections(dvbpsi_atsc_stt_t& stt);
/// The table's own table_id tells whether it is a TDT, which has no descriptors, or a TOT.
SectionChain generateSections(dvbpsi_tot_t& tot);

/// Writes the CRC_32 of a TOT section anew. A TOT has no section_syntax_indicator, so libdvbpsi counts its CRC_32
/// as payload: p_payload_end lies behind the CRC_32 and not, as in other tables, before it.
void rewriteTotCrc(dvbpsi_psi_section_t& section);

}  // namespace vantor
