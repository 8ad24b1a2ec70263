#include "programs/tables/review/places.h"

#include "programs/tables/kinds/eit.h"
#include "programs/tables/kinds/pat.h"
#include "programs/tables/kinds/pmt.h"
#include "programs/tables/kinds/programPids.h"
#include "programs/tables/kinds/schedule.h"
#include "programs/tables/kinds/sdt.h"

namespace vantor::tables {

using thrift::dvb_tables::SDT;

TablePlace placeInPat(std::size_t program) {
  return {patKind().path(), Json::object(), "/programs/" + std::to_string(program)};
}

TablePlace placeOf(const ProgramMap& map, const std::string& rest) {
  return {pmtKind().path(), {{"program_number", map.pmt.program_number}}, rest};
}

TablePlace placeOfSdtActual(const std::string& rest) { return {sdtActualKind().path(), Json::object(), rest}; }

TablePlace placeOfSdtOther(const SDT& sdt, const std::string& rest) {
  return {sdtOtherKind().path(),
          {{"transport_stream_id", sdt.transport_stream_id}, {"original_network_id", sdt.original_network_id}},
          rest};
}

TablePlace placeOfEvents(const EIT& eit) {
  const auto tableId = static_cast<std::uint8_t>(eit.table_id);
  const bool isSchedule = psi::kEitScheduleActual.has(tableId) || psi::kEitScheduleOther.has(tableId);
  const bool isActual = psi::kEitPfActual.has(tableId) || psi::kEitScheduleActual.has(tableId);
  return {(isSchedule ? eitScheduleKind() : eitPfKind()).path(),
          {{"service_id", eit.service_id},
           {"transport_stream_id", eit.transport_stream_id},
           {"original_network_id", eit.original_network_id},
           {"actual", isActual}},
          "/events"};
}

std::string nameOf(const ProgramMap& map) { return psi::tableName(tableKeyOf(map)); }

std::string nameOf(const EIT& eit) {
  return psi::tableNameOfStream(
      {static_cast<std::uint8_t>(eit.table_id), static_cast<std::uint16_t>(eit.service_id),
       static_cast<std::uint16_t>(eit.transport_stream_id), static_cast<std::uint16_t>(eit.original_network_id)});
}

}  // namespace vantor::tables
