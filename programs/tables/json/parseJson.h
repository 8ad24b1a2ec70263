#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "programs/tables/json/JsonValue.h"

namespace vantor::tables {

/// The next piece of a text, which stays where it is until the one after is asked for; empty at the end.
using NextPiece = std::function<std::string_view()>;

/// Takes the next element of an array.
using ElementTaker = std::function<void(const JsonValue& element)>;

/// By the name of the array among the fields of the document.
using ElementTakers = std::map<std::string, ElementTaker, std::less<>>;

/// Parses a whole text as it comes. The elements of an array that has a taker go there one by one, and the document
/// has the array without them. Refuses what JSON parsers commonly let through: a field given twice, and nesting so
/// deep that only an attack or an accident can be behind it. Throws InputError, with line and column where the text
/// is no JSON.
Json parseJson(const NextPiece& next, const ElementTakers& takers);

/// Parses a text that is all there.
Json parseJson(std::string_view text);

}  // namespace vantor::tables
