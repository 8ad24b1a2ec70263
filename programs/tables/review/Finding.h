#pragma once

#include <string>

#include "programs/tables/json/JsonValue.h"

namespace vantor::tables {

enum class Severity {
  kWarning,  ///< it goes on air, though hardly as it is meant
  kError     ///< it does not, or receivers cannot make sense of it
};

/// A place in a table set, by what tells its table from others: where that stands in a file, pointerTo() finds out.
struct TablePlace {
  std::string kind;           ///< the way to the kind's field, like "/pmts"; empty for the set as a whole
  Json ids = Json::object();  ///< the fields that tell the table from others of its kind, if there are several
  std::string rest;           ///< the way from the table on, like "/streams/1"
};

/// What is to be said of a table set.
struct Finding {
  Severity severity;
  TablePlace place;
  std::string text;  ///< one line
};

}  // namespace vantor::tables
