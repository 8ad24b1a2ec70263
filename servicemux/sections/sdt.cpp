#include "servicemux/sections/generate.h"
#include "servicemux/sections/sections.h"

namespace vantor {

namespace {

// EN 300 468 clause 5.2.3: sections of at most 1024 bytes, 11 of them before the services.
constexpr SectionRoom kRoom{1024 - 11 - kCrcSize, 5};

}  // namespace

/// libdvbpsi writes table_id 0x42 whatever the table is.
SectionChain generateSections(dvbpsi_sdt_t& sdt, unsigned char tableId, const SectionStarts& starts) {
  TableItems<dvbpsi_sdt_t, dvbpsi_sdt_service_t> services(sdt, &dvbpsi_sdt_t::p_first_service);
  const auto generator = [&](dvbpsi_t* handle) { return dvbpsi_sdt_sections_generate(handle, &sdt); };
  SectionGatherer sections;
  if (!sections.addItems(services, starts, 0, services.size(), kRoom, generator)) return nullptr;
  if (!sections.number()) return nullptr;
  for (std::size_t i = 0; i < sections.size(); ++i) sections[i].i_table_id = tableId;
  return sections.chain();
}

}  // namespace vantor
