#include "servicemux/sections/sections.h"

#include "servicemux/sections/atscGenerators.h"
#include "servicemux/sections/generate.h"

namespace vantor {

SectionChain generateSections(dvbpsi_pat_t& pat) {
  return generate([&](dvbpsi_t* handle) {
    return dvbpsi_pat_sections_generate(handle, &pat, static_cast<int>(kProgramsPerPatSection));
  });
}

SectionChain generateSections(dvbpsi_cat_t& cat) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_cat_sections_generate(handle, &cat); });
}

SectionChain generateSections(dvbpsi_pmt_t& pmt) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_pmt_sections_generate(handle, &pmt); });
}

SectionChain generateSections(dvbpsi_atsc_mgt_t& mgt) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_mgt_sections_generate(handle, &mgt); });
}

SectionChain generateSections(dvbpsi_atsc_vct_t& vct) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_vct_sections_generate(handle, &vct); });
}

SectionChain generateSections(dvbpsi_atsc_stt_t& stt) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_stt_sections_generate(handle, &stt); }, DVBPSI_MSG_DEBUG);
}

}  // namespace vantor
