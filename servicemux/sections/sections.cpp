#include "servicemux/sections/sections.h"

namespace vantor {

namespace {

constexpr int kProgramsPerPatSection = 100;
constexpr unsigned char kNitActual = 0x40;  // EN 300 468, table 2

/// Calls a libdvbpsi generator on a handle of its own.
template <typename Generator>
SectionChain generate(Generator generator) {
  dvbpsi_t* const handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
  if (handle == nullptr) return nullptr;
  SectionChain sections(generator(handle));
  dvbpsi_delete(handle);
  return sections;
}

}  // namespace

SectionChain generateSections(dvbpsi_pat_t& pat) {
  return generate(
      [&](dvbpsi_t* handle) { return dvbpsi_pat_sections_generate(handle, &pat, kProgramsPerPatSection); });
}

SectionChain generateSections(dvbpsi_cat_t& cat) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_cat_sections_generate(handle, &cat); });
}

SectionChain generateSections(dvbpsi_nit_t& nit) {
  return generate([&](dvbpsi_t* handle) { return dvbpsi_nit_sections_generate(handle, &nit, kNitActual); });
}

}  // namespace vantor
