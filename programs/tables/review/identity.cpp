#include "programs/tables/review/identity.h"

#include <map>

#include "interface/psi/section.h"
#include "programs/tables/json/pidJson.h"
#include "programs/tables/kinds/sections.h"

namespace vantor::tables {

namespace {

using Names = std::vector<const char*>;

const std::map<std::string, Names>& identifiers() {
  static const std::map<std::string, Names> all{
      {"pmts", {"program_number"}},
      {"sdt_others", {"transport_stream_id", "original_network_id"}},
      {"nit_others", {"network_id"}},
      {"bats", {"bouquet_id"}},
      {"eit_pf", {"service_id", "transport_stream_id", "original_network_id", "actual"}},
      {"eit_schedule", {"service_id", "transport_stream_id", "original_network_id", "actual", "table_id"}},
      {"sections", {"pid", "table_id", "table_id_extension"}},
      {"programs", {"program_number"}},
      {"transport_streams", {"transport_stream_id", "original_network_id"}},
      {"streams", {"elementary_pid"}},
      {"services", {"service_id"}},
      {"events", {"event_id"}},
      {"tables", {"table_type"}},
      {"channels", {"major_channel_number", "minor_channel_number"}},
      {"local_time_offsets", {"country_code", "country_region_id"}},
      {"ecm_pids", {"usid"}},
      {"emm_pids", {"usid"}},
      {"ecms", {"pid"}},
      {"service_list", {"service_id"}},
      {"logical_channel", {"service_id"}},
  };
  return all;
}

/// What all whole sections of a table have in their heads.
Json valueInSections(const Json& sections, const std::string& field) {
  const SubtableKey key = sectionsKind().keyOf(Section(JsonValue(sections.at(0)).hexBytes(kLongestSection)), 0);
  return field == "table_id" ? Json(key.table.table_id) : Json(key.table.extension);
}

/// What it means that a field is left out.
Json valueOf(const Json& element, const char* field) {
  if (const auto found = element.find(field); found != element.end()) return *found;
  if (const auto sections = element.find("sections"); sections != element.end() && sections->is_array())
    return valueInSections(*sections, field);
  return std::string(field) == "actual" ? Json(true) : Json();
}

/// A PID can be written in several ways.
bool isSame(const std::string& field, const Json& one, const Json& other) {
  const bool arePids = field == "pid" && !one.is_null() && !other.is_null();
  return arePids ? readPid(JsonValue(one)) == readPid(JsonValue(other)) : one == other;
}

bool has(const Json& element, const Json& ids) {
  if (!element.is_object()) return false;
  for (const auto& [field, value] : ids.items())
    if (!isSame(field, valueOf(element, field.c_str()), value)) return false;
  return true;
}

/// The way that the document has, from the front.
std::string asFarAsItGoes(const std::string& pointer, const Json& document) {
  const Json::json_pointer whole(pointer);
  for (Json::json_pointer way = whole; !way.empty(); way.pop_back())
    if (document.contains(way)) return way.to_string();
  return "";
}

}  // namespace

const Names& identifiersIn(const std::string& array) {
  static const Names none;
  const auto found = identifiers().find(array);
  return found == identifiers().end() ? none : found->second;
}

Json identityOf(const std::string& array, const Json& element) {
  Json ids = Json::object();
  if (element.is_object())
    for (const char* field : identifiersIn(array)) ids[field] = valueOf(element, field);
  return ids;
}

std::optional<std::string> pointerTo(const TablePlace& place, const Json& document) {
  const Json::json_pointer kind(place.kind);
  if (place.kind.empty() || !document.contains(kind)) return std::nullopt;
  const Json& tables = document.at(kind);
  if (!tables.is_array()) return asFarAsItGoes(place.kind + place.rest, document);
  for (std::size_t i = 0; i < tables.size(); ++i)
    if (has(tables[i], place.ids))
      return asFarAsItGoes(place.kind + "/" + std::to_string(i) + place.rest, document);
  return std::nullopt;
}

}  // namespace vantor::tables
