#pragma once

#include <optional>

#include "interface/checks/Refusal.h"
#include "programs/tables/json/JsonValue.h"

namespace vantor::tables {

/// Throws InputError when there is a refusal of the record that was read from the value. Its place is that in the
/// document: of a field that the document does not have, what it would be in.
void throwIfRefused(const JsonValue& value, const std::optional<Refusal>& refusal);

}  // namespace vantor::tables
