#include "tests/servicemux/doubles/FailingSections.h"

#include <atomic>

#include "interface/dvbpsi.h"
#include "tests/servicemux/doubles/nextFunction.h"

namespace {

std::atomic<bool> failing{false};

}  // namespace

FailingSections::FailingSections() { failing.store(true); }

FailingSections::~FailingSections() { failing.store(false); }

dvbpsi_psi_section_t* dvbpsi_NewPSISection(int size) {
  static const auto real = nextFunction<dvbpsi_psi_section_t*(int)>("dvbpsi_NewPSISection");
  return failing ? nullptr : real(size);
}

dvbpsi_psi_section_t* dvbpsi_tot_sections_generate(dvbpsi_t* handle, dvbpsi_tot_t* tot) {
  static const auto real =
      nextFunction<dvbpsi_psi_section_t*(dvbpsi_t*, dvbpsi_tot_t*)>("dvbpsi_tot_sections_generate");
  return failing ? nullptr : real(handle, tot);
}
