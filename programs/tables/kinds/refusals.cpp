#include "programs/tables/kinds/refusals.h"

#include "programs/tables/json/InputError.h"

namespace vantor::tables {

void throwIfRefused(const JsonValue& value, const std::optional<Refusal>& refusal) {
  if (refusal) value.failAt(refusal->path, printable(textOf(*refusal)));
}

}  // namespace vantor::tables
