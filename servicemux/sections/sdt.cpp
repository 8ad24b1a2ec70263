#include "servicemux/sections/generate.h"
#include "servicemux/sections/sections.h"

namespace vantor {

/// libdvbpsi writes the table_id of an SDT actual whatever the table is.
SectionChain generateSections(dvbpsi_sdt_t& sdt, unsigned char tableId, const SectionStarts& starts) {
  TableItems<dvbpsi_sdt_t, dvbpsi_sdt_service_t> services(sdt, &dvbpsi_sdt_t::p_first_service);
  const auto generator = [&](dvbpsi_t* handle) { return dvbpsi_sdt_sections_generate(handle, &sdt); };
  SectionGatherer sections;
  if (!sections.addItems(services, starts, 0, services.size(), kSdtRoom, generator)) return nullptr;
  if (!sections.number()) return nullptr;
  for (std::size_t i = 0; i < sections.size(); ++i) sections[i].i_table_id = tableId;
  return sections.chain();
}

}  // namespace vantor
