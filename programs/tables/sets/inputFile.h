#pragma once

#include <cstdint>
#include <functional>
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

/// Leaves whole sections out of it, those of a capture and those of a table set alike.
void leaveOutSections(InputFile& file);

/// Is told now and then how many bytes of how many have been read. What it throws ends the reading.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t size)>;

/// Reads a table set (.json), a transport stream (.ts) or a file of sections (.bin). Times that a table set gives
/// relative to the present count from `now`. Throws InputErrors with the path in front.
InputFile readInputFile(const std::string& path, UtcTime now = std::chrono::system_clock::now(),
                        const ReadProgress& progress = {});

}  // namespace vantor::tables
