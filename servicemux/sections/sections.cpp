#include "servicemux/sections/sections.h"

#include "servicemux/sections/generate.h"

namespace vantor {

namespace {

constexpr int kProgramsPerPatSection = 100;

}  // namespace

SectionChain generateSections(dvbpsi_pat_t& pat) {
  return generate(
      [&](dvbpsi_t* handle) { return dvbpsi_pat_sections_generate(handle, &pat, kProgramsPerPatSection); });
}

SectionChain generateSections(dvbpsi_cat_t& cat) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_cat_sections_generate(handle, &cat); });
}

SectionChain generateSections(dvbpsi_pmt_t& pmt) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_pmt_sections_generate(handle, &pmt); });
}

}  // namespace vantor
