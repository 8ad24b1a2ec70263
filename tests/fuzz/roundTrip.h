#pragma once

#include <string_view>

#include "programs/tables/kinds/TableSet.h"

namespace vantor::fuzz {

/// Ends the process with a message unless the condition holds.
void require(bool condition, const char* what);

/// An error message must be one line that does no harm to a terminal.
void requirePrintable(std::string_view message);

/// The set must come back from JSON as it was, and from its sections wherever the library would send it.
void requireRoundTrips(const tables::TableSet& set);

}  // namespace vantor::fuzz
