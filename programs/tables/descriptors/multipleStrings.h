#pragma once

#include <cstddef>
#include <string>

#include "programs/tables/descriptors/BitReader.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

/// Texts of ATSC, multiple_string_structure of ATSC A/65 clause 6.10: an array with one object for each language.
/// One segment of Latin letters is a `text`; what is compressed, in another mode or in several segments keeps its
/// bytes in `segments`.

namespace vantor::tables {

/// Throws InputError, also when it takes more than `room` bytes.
std::string readMultipleStrings(const JsonValue& json, std::size_t room);

OrderedJson takeMultipleStrings(BitReader& from);

}  // namespace vantor::tables
