#include "interface/checks/sectionCrc.h"

#include "interface/dvbpsi.h"
#include "interface/psi/section.h"
#include "interface/psi/tableIds.h"

namespace vantor {

bool endsWithCrc(std::string_view section) {
  const auto table_id = static_cast<std::uint8_t>(section[0]);
  return (static_cast<std::uint8_t>(section[1]) & kSectionSyntax) != 0 || table_id == kTotTableId;
}

bool isCrcRight(std::string_view section) {
  dvbpsi_psi_section_t view{};
  view.i_table_id = static_cast<std::uint8_t>(section[0]);
  view.b_syntax_indicator = true;  // else libdvbpsi does not look
  // It only reads, though it asks for more.
  view.p_data = reinterpret_cast<std::uint8_t*>(const_cast<char*>(section.data()));
  view.p_payload_end = view.p_data + section.size() - kCrcSize;
  return dvbpsi_ValidPSISection(&view);
}

}  // namespace vantor
