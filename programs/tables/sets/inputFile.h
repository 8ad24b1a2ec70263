#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "programs/inputs/InputOptions.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/values/UtcTime.h"

namespace vantor::tables {

/// A table set as it comes out of a file.
struct InputFile {
  TableSet tables;
  std::optional<Capture> capture;  ///< what is to be told of it, when it was one; its tables are moved out
};

/// Leaves whole sections out of it, those of a capture and those of a table set alike.
void leaveOutSections(InputFile& file);

/// Is told now and then how much of an input has been read, from 0 to 1, if that is known. What it throws ends the
/// reading.
using ReadProgress = std::function<void(std::optional<double> part)>;

/// Reads a table set, a transport stream in any of the forms that inputs::open() knows, or a file of sections.
/// Which of them it is shows in the content; a name in .json or .bin says it for a file that is nothing of it.
/// Times that a table set gives relative to the present count from `now`. Throws InputErrors with the path in
/// front, also for a live input.
InputFile readInputFile(const std::string& path, UtcTime now = std::chrono::system_clock::now(),
                        const ReadProgress& progress = {});

/// The same, and live inputs too, which are read until `end`.
InputFile readInput(const std::string& input, const inputs::InputOptions& options, const ReadingEnd& end,
                    Versions versions);

}  // namespace vantor::tables
