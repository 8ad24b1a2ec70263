#pragma once

#include <string>
#include <vector>

#include "programs/servicemux/playOptions.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sets/inputFile.h"
#include "programs/tables/values/UtcTime.h"
#include "servicemux/output/InsertionPeriods.h"

namespace vantor::cli {

/// All that `play` puts on air.
struct PlayedTables {
  tables::TableSet tables;            ///< complete
  InsertionPeriods periods;           ///< as the command line says, and else as the tables' files do
  std::vector<std::string> warnings;  ///< one line each
};

/// Reads the files of the command line and checks all of what is in them. Times that they give relative to the
/// present count from `now`. Throws InputError.
PlayedTables readPlayedTables(const PlayOptions& options, tables::UtcTime now,
                              const tables::ReadProgress& progress);

/// Of all that was needed to read the tables the allocator would keep most for later, which never comes.
void giveBackMemory();

}  // namespace vantor::cli
