#pragma once

#include <optional>
#include <string>

#include "programs/inputs/InputOptions.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"

namespace vantor::tables {

/// A table set as it comes out of a file.
struct InputFile {
  TableSet tables;
  std::optional<Capture> capture;  ///< what is to be told of it, when it was one; its tables are moved out
};

/// Reads a table set, a transport stream in any of the forms that inputs::open() knows, or a file of sections.
/// Which of them it is shows in the content; a name in .json or .bin says it for a file that is nothing of it.
/// Throws InputError with the path in front, also for a live input.
InputFile readInputFile(const std::string& path);

/// The same, and live inputs too, which are read until `end`.
InputFile readInput(const std::string& input, const inputs::InputOptions& options, const ReadingEnd& end,
                    Versions versions);

}  // namespace vantor::tables
