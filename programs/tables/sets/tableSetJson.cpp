#include "programs/tables/sets/tableSetJson.h"

#include <algorithm>

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/sets/periodsJson.h"

namespace vantor::tables {

namespace {

constexpr const char* kPeriods = "periods";
constexpr const char* kSchema = "$schema";  // for editors

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
  fields.push_back(kSchema);
  root.allowOnly(fields);
  if (const auto schema = root.optional(kSchema)) schema->string();
  for (const TableKind* kind : allTableKinds()) {
    if (kind->group() == nullptr) continue;
    if (const auto group = root.optional(kind->group())) group->allowOnly(fieldsOf(kind->group()));
  }
}

}  // namespace

TableSet readTableSet(std::string_view text, UtcTime now) {
  const Json document = parseJson(text);
  const JsonValue root(document);
  TableSet set;
  InputErrors errors;
  errors.gather([&] { checkFields(root); });
  for (const TableKind* kind : allTableKinds()) {
    errors.gather([&] {
      const auto group = kind->group() == nullptr ? root : root.optional(kind->group());
      if (!group) return;
      if (const auto value = group->optional(kind->key())) kind->read(*value, now, set);
    });
  }
  errors.gather([&] {
    if (const auto periods = root.optional(kPeriods)) readPeriods(*periods, set);
  });
  errors.throwIfAny();
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
