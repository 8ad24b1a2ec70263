#pragma once

#include <memory>

#include "interface/dvbpsi.h"

/// From libdvbpsi's tables to sections.

namespace vantor {

struct SectionDeleter {
  void operator()(dvbpsi_psi_section_t* sections) const { dvbpsi_DeletePSISections(sections); }
};

/// A chain of sections as libdvbpsi makes it; null when it made none.
using SectionChain = std::unique_ptr<dvbpsi_psi_section_t, SectionDeleter>;

/// At most 100 programs a section.
SectionChain generateSections(dvbpsi_pat_t& pat);
SectionChain generateSections(dvbpsi_cat_t& cat);
/// As NIT actual, table_id 0x40.
SectionChain generateSections(dvbpsi_nit_t& nit);

}  // namespace vantor
