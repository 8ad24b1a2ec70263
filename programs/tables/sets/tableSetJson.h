#pragma once

#include <string>
#include <string_view>

#include "programs/tables/json/parseJson.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/values/UtcTime.h"

namespace vantor::tables {

/// Which version_numbers a table set may have: the library sends those that the wire has no room for as 0.
enum class Versions { any, ofTheWire };

/// Reads a JSON table set. Throws InputErrors for everything that it does not know exactly and for every table that
/// the library could not send: what is wrong with one table does not hide what is wrong with the next. Times that
/// are given relative to the present count from `now`.
TableSet readTableSet(std::string_view text, UtcTime now = std::chrono::system_clock::now(),
                      Versions versions = Versions::any);
/// The same of a text that comes in pieces, of which no more is kept than what is to be read yet.
TableSet readTableSet(const NextPiece& next, UtcTime now, Versions versions = Versions::any);

/// The table set as a JSON text that readTableSet() reads back to the same records.
std::string writeTableSet(const TableSet& set);

}  // namespace vantor::tables
