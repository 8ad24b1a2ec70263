#pragma once

#include <optional>
#include <string>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/values/UtcTime.h"

namespace vantor::tables {

/// A table set as it comes out of a file.
struct InputFile {
  TableSet tables;
  std::optional<Capture> capture;  ///< what is to be told of it, when it was one; its tables are moved out
};

/// Reads a table set (.json), a transport stream (.ts) or a file of sections (.bin). Throws InputErrors with the
/// path in front. Times that a table set gives relative to the present count from `now`.
InputFile readInputFile(const std::string& path, UtcTime now = std::chrono::system_clock::now());

}  // namespace vantor::tables
