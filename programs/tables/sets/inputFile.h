#pragma once

#include <optional>
#include <string>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sets/Capture.h"

namespace vantor::tables {

/// A table set as it comes out of a file.
struct InputFile {
  TableSet tables;
  std::optional<Capture> capture;  ///< what is to be told of it, when it was one; its tables are moved out
};

/// Leaves whole sections out of it, those of a capture and those of a table set alike.
void leaveOutSections(InputFile& file);

/// Reads a table set (.json), a transport stream (.ts) or a file of sections (.bin). Throws InputError with the
/// path in front.
InputFile readInputFile(const std::string& path);

}  // namespace vantor::tables
