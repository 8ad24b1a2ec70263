#include "tests/servicemux/doubles/FailingGenerators.h"

#include "interface/dvbpsi.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

bool failing = false;

}  // namespace

FailingGenerators::FailingGenerators() { failing = true; }

FailingGenerators::~FailingGenerators() { failing = false; }

dvbpsi_psi_section_t* dvbpsi_pat_sections_generate(dvbpsi_t* handle, dvbpsi_pat_t* pat, int programs) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_pat_t*, int)>("dvbpsi_pat_sections_generate");
  return failing ? nullptr : real(handle, pat, programs);
}

dvbpsi_psi_section_t* dvbpsi_cat_sections_generate(dvbpsi_t* handle, dvbpsi_cat_t* cat) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_cat_t*)>("dvbpsi_cat_sections_generate");
  return failing ? nullptr : real(handle, cat);
}

dvbpsi_psi_section_t* dvbpsi_nit_sections_generate(dvbpsi_t* handle, dvbpsi_nit_t* nit, std::uint8_t tableId) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_nit_t*, std::uint8_t)>("dvbpsi_nit_sections_generate");
  return failing ? nullptr : real(handle, nit, tableId);
}

dvbpsi_psi_section_t* dvbpsi_pmt_sections_generate(dvbpsi_t* handle, dvbpsi_pmt_t* pmt) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_pmt_t*)>("dvbpsi_pmt_sections_generate");
  return failing ? nullptr : real(handle, pmt);
}

dvbpsi_psi_section_t* dvbpsi_sdt_sections_generate(dvbpsi_t* handle, dvbpsi_sdt_t* sdt) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_sdt_t*)>("dvbpsi_sdt_sections_generate");
  return failing ? nullptr : real(handle, sdt);
}

dvbpsi_psi_section_t* dvbpsi_eit_sections_generate(dvbpsi_t* handle, dvbpsi_eit_t* eit, std::uint8_t tableId) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_eit_t*, std::uint8_t)>("dvbpsi_eit_sections_generate");
  return failing ? nullptr : real(handle, eit, tableId);
}
