#include "programs/tables/tableSetJson.h"

#include <algorithm>

#include "programs/tables/TableKind.h"

namespace vantor::tables {

TableSet readTableSet(std::string_view text, UtcTime now) {
  const Json document = parseJson(text);
  const JsonValue root(document);
  std::vector<const char*> keys;
  for (const TableKind* kind : allTableKinds()) keys.push_back(kind->key());
  root.allowOnly(keys);
  TableSet set;
  for (const TableKind* kind : allTableKinds())
    if (const auto value = root.optional(kind->key())) kind->read(*value, now, set);
  return set;
}

std::string writeTableSet(const TableSet& set) {
  OrderedJson document = OrderedJson::object();
  for (const TableKind* kind : allTableKinds())
    if (kind->isIn(set)) document[kind->key()] = kind->write(set);
  return writeJson(document);
}

}  // namespace vantor::tables
