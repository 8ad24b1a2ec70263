#pragma once

#include <optional>
#include <string>
#include <vector>

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/review/Finding.h"

/// What tells the elements of an array of a table set from one another.

namespace vantor::tables {

/// The fields that do, of the array with this name; none when only their order does.
const std::vector<const char*>& identifiersIn(const std::string& array);

/// These fields with their values, of one element of the array. Left out ones have the values that this means, and
/// those of whole sections are in the first one, which the reader has let through.
Json identityOf(const std::string& array, const Json& element);

/// The JSON pointer to a place in a document; none when the document does not have the table. Where it has the
/// table and not what is in it, it is the way as far as it goes.
std::optional<std::string> pointerTo(const TablePlace& place, const Json& document);

}  // namespace vantor::tables
