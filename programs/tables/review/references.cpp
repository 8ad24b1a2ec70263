#include "programs/tables/review/references.h"

#include <set>

#include "programs/tables/review/places.h"

namespace vantor::tables {

namespace {

using Numbers = std::set<std::int32_t>;

Numbers programsIn(const TableSet& set) {
  Numbers programs;
  if (set.pat)
    for (const auto& program : set.pat->programs) programs.insert(program.program_number);
  return programs;
}

Numbers mapsIn(const TableSet& set) {
  Numbers programs;
  for (const ProgramMap& map : set.pmts) programs.insert(map.pmt.program_number);
  return programs;
}

Numbers servicesIn(const TableSet& set) {
  Numbers services;
  if (set.sdtActual)
    for (const auto& service : set.sdtActual->services) services.insert(service.service_id);
  return services;
}

void warn(const TablePlace& place, const std::string& text, std::vector<Finding>& out) {
  out.push_back({Severity::kWarning, place, text});
}

void findServices(const TableSet& set, const Numbers& programs, const Numbers& maps, std::vector<Finding>& out) {
  if (!set.sdtActual) return;
  for (std::size_t i = 0; i < set.sdtActual->services.size(); ++i) {
    const std::int32_t id = set.sdtActual->services[i].service_id;
    const TablePlace place = placeOfSdtActual("/services/" + std::to_string(i));
    const std::string name = "service " + std::to_string(id);
    if (set.pat && programs.count(id) == 0) warn(place, name + " is not in the PAT", out);
    if (!maps.empty() && maps.count(id) == 0) warn(place, name + " has no PMT", out);
  }
}

void findPrograms(const TableSet& set, const Numbers& maps, std::vector<Finding>& out) {
  if (!set.pat || maps.empty()) return;
  for (std::size_t i = 0; i < set.pat->programs.size(); ++i) {
    const std::int32_t number = set.pat->programs[i].program_number;
    if (number != 0 && maps.count(number) == 0)
      warn(placeInPat(i), "program " + std::to_string(number) + " has no PMT", out);
  }
}

void findMaps(const TableSet& set, const Numbers& programs, std::vector<Finding>& out) {
  if (!set.pat) return;
  for (const ProgramMap& map : set.pmts)
    if (programs.count(map.pmt.program_number) == 0) warn(placeOf(map), nameOf(map) + " is not in the PAT", out);
}

void findEvents(const TableSet& set, const Numbers& services, std::vector<Finding>& out) {
  if (!set.sdtActual) return;
  for (const auto* eits : {&set.eitPf, &set.eitSchedule})
    for (const auto& eit : *eits) {
      const TablePlace place = placeOfEvents(eit);
      if (place.ids["actual"] == true && services.count(eit.service_id) == 0)
        warn(place, nameOf(eit) + ": service " + std::to_string(eit.service_id) + " is not in the SDT", out);
    }
}

/// The first table that tells has it right.
class StreamId {
 public:
  void compare(std::int32_t id, const std::string& table, const TablePlace& place, std::vector<Finding>& out) {
    if (owner.empty()) {
      owner = table;
      first = id;
    } else if (id != first) {
      warn(place,
           table + ": transport_stream_id " + std::to_string(id) + " is not the " + std::to_string(first) +
               " of the " + owner,
           out);
    }
  }

 private:
  std::string owner;
  std::int32_t first = 0;
};

void findStreams(const TableSet& set, std::vector<Finding>& out) {
  StreamId stream;
  const std::string way = "/transport_stream_id";
  if (set.pat) stream.compare(set.pat->transport_stream_id, psi::kPat.name, placeInPat(0), out);
  if (set.sdtActual)
    stream.compare(set.sdtActual->transport_stream_id, psi::kSdtActual.name, placeOfSdtActual(way), out);
  for (const auto* eits : {&set.eitPf, &set.eitSchedule})
    for (const auto& eit : *eits) {
      TablePlace place = placeOfEvents(eit);
      if (place.ids["actual"] != true) continue;
      place.rest = way;
      stream.compare(eit.transport_stream_id, nameOf(eit), place, out);
    }
}

}  // namespace

std::vector<Finding> brokenReferencesIn(const TableSet& set) {
  const Numbers programs = programsIn(set);
  const Numbers maps = mapsIn(set);
  std::vector<Finding> out;
  findServices(set, programs, maps, out);
  findPrograms(set, maps, out);
  findMaps(set, programs, out);
  findEvents(set, servicesIn(set), out);
  findStreams(set, out);
  return out;
}

}  // namespace vantor::tables
