#include <map>
#include <optional>
#include <string>
#include <utility>

#include "programs/tables/kinds/nit.h"
#include "programs/tables/kinds/sections.h"
#include "programs/tables/review/collisions.h"
#include "programs/tables/review/places.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::EIT;
using thrift::dvb_tables::NIT;
using thrift::dvb_tables::SDT;

/// Remembers who came first under an identifier.
template <typename Id>
class Seen {
 public:
  /// The index that it came under before, none when it is new.
  std::optional<std::size_t> add(const Id& id, std::size_t index) {
    const auto [first, isNew] = indices.try_emplace(id, index);
    return isNew ? std::nullopt : std::optional(first->second);
  }

 private:
  std::map<Id, std::size_t> indices;
};

std::string twice(const std::string& what, std::int32_t id, const std::string& list, std::size_t first) {
  return what + " " + std::to_string(id) + " stands there twice, first in " + list + std::to_string(first);
}

void findPrograms(const TableSet& set, std::vector<Finding>& out) {
  if (!set.pat) return;
  Seen<std::int32_t> seen;
  for (std::size_t i = 0; i < set.pat->programs.size(); ++i) {
    const std::int32_t id = set.pat->programs[i].program_number;
    if (const auto first = seen.add(id, i))
      out.push_back({Severity::kError, placeInPat(i), twice("program_number", id, "/pat/programs/", *first)});
  }
}

template <typename PlaceOf>
void findServices(const SDT& sdt, PlaceOf placeOf, std::vector<Finding>& out) {
  Seen<std::int32_t> seen;
  for (std::size_t i = 0; i < sdt.services.size(); ++i) {
    const std::int32_t id = sdt.services[i].service_id;
    if (const auto first = seen.add(id, i))
      out.push_back({Severity::kError, placeOf("/services/" + std::to_string(i)),
                     twice("service_id", id, "/services/", *first)});
  }
}

void findTransportStreams(const NIT& nit, const TablePlace& table, std::vector<Finding>& out) {
  Seen<std::pair<std::int32_t, std::int32_t>> seen;
  for (std::size_t i = 0; i < nit.transport_streams.size(); ++i) {
    const auto& stream = nit.transport_streams[i];
    if (const auto first = seen.add({stream.original_network_id, stream.transport_stream_id}, i))
      out.push_back({Severity::kError,
                     {table.kind, table.ids, "/transport_streams/" + std::to_string(i)},
                     twice("transport_stream_id", stream.transport_stream_id, "/transport_streams/", *first)});
  }
}

/// NITs other or BATs. They are sent as whole sections are, so that of the two only one is on air.
void findInNetworks(const std::vector<NIT>& nits, const psi::TableType& type, const TableKind& kind, const char* id,
                    const TableSet& set, std::vector<Finding>& out) {
  for (const NIT& nit : nits) {
    const TablePlace table{kind.path(), {{id, nit.network_id}}, ""};
    findTransportStreams(nit, table, out);
    const psi::TableKey key{type.firstTableId, static_cast<std::uint16_t>(nit.network_id), 0, 0};
    if (hasSections({key, type.pid}, set))
      out.push_back(
          {Severity::kError, table, psi::tableName(key) + " stands there twice, among the whole sections too"});
  }
}

/// Of all tables of one service's schedule together.
void findEvents(const std::vector<EIT>& eits, std::vector<Finding>& out) {
  std::map<std::string, Seen<std::int32_t>> seen;  // by the service
  for (const EIT& eit : eits) {
    const TablePlace place = placeOfEvents(eit);
    for (std::size_t i = 0; i < eit.events.size(); ++i)
      if (seen[place.ids.dump()].add(eit.events[i].event_id, i))
        out.push_back(
            {Severity::kError, place,
             nameOf(eit) + ": event_id " + std::to_string(eit.events[i].event_id) + " stands there twice"});
  }
}

}  // namespace

std::vector<Finding> duplicatesIn(const TableSet& set) {
  std::vector<Finding> out;
  findPrograms(set, out);
  if (set.nit) findTransportStreams(*set.nit, {nitKind().path(), Json::object(), ""}, out);
  findInNetworks(set.nitOthers, psi::kNitOther, nitOtherKind(), "network_id", set, out);
  findInNetworks(set.bats, psi::kBat, batKind(), "bouquet_id", set, out);
  if (set.sdtActual) findServices(*set.sdtActual, placeOfSdtActual, out);
  for (const SDT& sdt : set.sdtOthers)
    findServices(
        sdt, [&sdt](const std::string& rest) { return placeOfSdtOther(sdt, rest); }, out);
  findEvents(set.eitPf, out);
  findEvents(set.eitSchedule, out);
  return out;
}

}  // namespace vantor::tables
