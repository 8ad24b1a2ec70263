#pragma once

#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

const TableKind& pmtKind();

/// Why the PMT cannot be sent on its PID, if it cannot.
[[nodiscard]] std::optional<Refusal> check(const ProgramMap& map);

}  // namespace vantor::tables
