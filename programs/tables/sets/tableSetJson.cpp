#include "programs/tables/sets/tableSetJson.h"

#include <algorithm>

#include "interface/psi/section.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/sets/periodsJson.h"

namespace vantor::tables {

namespace {

constexpr const char* kPeriods = "periods";

/// The fields that an object has: the table set itself, or one of its groups.
std::vector<const char*> fieldsOf(const std::string& group) {
  std::vector<const char*> fields;
  for (const TableKind* kind : allTableKinds())
    if (kind->group() == nullptr ? group.empty() : group == kind->group()) fields.push_back(kind->key());
  return fields;
}

void checkFields(const JsonValue& root) {
  std::vector<const char*> fields = fieldsOf("");
  for (const TableKind* kind : allTableKinds())
    if (kind->group() != nullptr) fields.push_back(kind->group());
  fields.push_back(kPeriods);
  root.allowOnly(fields);
  for (const TableKind* kind : allTableKinds()) {
    if (kind->group() == nullptr) continue;
    if (const auto group = root.optional(kind->group())) group->allowOnly(fieldsOf(kind->group()));
  }
}

/// The way to the first version_number that the wire has no room for; empty when there is none.
std::string pathOfHighVersion(const Json& json) {
  if (!json.is_structured()) return "";
  for (const auto& [name, value] : json.items()) {
    if (name == "version_number" && value.is_number_integer() && value > kMaxVersion) return "/" + name;
    if (const std::string path = pathOfHighVersion(value); !path.empty()) return "/" + name + path;
  }
  return "";
}

void refuseHighVersions(const Json& document) {
  const std::string path = pathOfHighVersion(document);
  if (path.empty()) return;
  const std::string version = JsonValue(document[Json::json_pointer(path)]).shown();
  JsonValue(document).failAt(path, version + " is above " + std::to_string(kMaxVersion));
}

}  // namespace

TableSet readTableSet(std::string_view text, UtcTime now, Versions versions) {
  const Json document = parseJson(text);
  const JsonValue root(document);
  checkFields(root);
  TableSet set;
  for (const TableKind* kind : allTableKinds()) {
    const auto group = kind->group() == nullptr ? root : root.optional(kind->group());
    if (!group) continue;
    if (const auto value = group->optional(kind->key())) kind->read(*value, now, set);
  }
  if (versions == Versions::ofTheWire) refuseHighVersions(document);
  if (const auto periods = root.optional(kPeriods)) readPeriods(*periods, set);
  return set;
}

std::string writeTableSet(const TableSet& set) {
  OrderedJson document = OrderedJson::object();
  for (const TableKind* kind : allTableKinds())
    if (kind->isIn(set))
      (kind->group() == nullptr ? document : document[kind->group()])[kind->key()] = kind->write(set);
  if (!set.periods.empty()) document[kPeriods] = writePeriods(set);
  return writeJson(document);
}

}  // namespace vantor::tables
