#pragma once

#include <memory>

#include "interface/dvbpsi.h"

namespace vantor {

struct SectionDeleter {
  void operator()(dvbpsi_psi_section_t* sections) const { dvbpsi_DeletePSISections(sections); }
};

/// A chain of sections as libdvbpsi makes it; null when it made none.
using SectionChain = std::unique_ptr<dvbpsi_psi_section_t, SectionDeleter>;

}  // namespace vantor
