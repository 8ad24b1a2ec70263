#include "programs/tables/sets/periodsJson.h"

#include <cstdint>
#include <limits>
#include <vector>

#include "programs/tables/kinds/refusals.h"
#include "servicemux/output/periodFields.h"

namespace vantor::tables {

namespace {

std::int64_t anyInteger(const JsonValue& value) {
  using Limits = std::numeric_limits<std::int64_t>;
  return value.integer(Limits::min(), Limits::max());
}

}  // namespace

void readPeriods(const JsonValue& value, TableSet& set) {
  std::vector<const char*> names;
  for (const PeriodField& field : periodFields()) names.push_back(field.name);
  value.allowOnly(names);
  for (const PeriodField& field : periodFields()) {
    const auto given = value.optional(field.name);
    if (!given) continue;
    const std::int64_t period = anyInteger(*given);
    throwIfRefused(value, check(field, period));
    set.periods[field.name] = static_cast<unsigned int>(period);
  }
}

OrderedJson writePeriods(const TableSet& set) {
  OrderedJson json = OrderedJson::object();
  for (const PeriodField& field : periodFields())
    if (const auto given = set.periods.find(field.name); given != set.periods.end())
      json[field.name] = given->second;
  return json;
}

}  // namespace vantor::tables
