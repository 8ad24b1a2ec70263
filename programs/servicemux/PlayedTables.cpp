#include "programs/servicemux/PlayedTables.h"

#include <malloc.h>

#include <utility>

#include "programs/servicemux/captureReport.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/wholeSet.h"
#include "servicemux/output/periodFields.h"

namespace vantor::cli {

namespace {

void append(const std::vector<std::string>& lines, const std::string& before, std::vector<std::string>& to) {
  for (const std::string& line : lines) to.push_back(before + line);
}

}  // namespace

PlayedTables readPlayedTables(const PlayOptions& options, tables::UtcTime now,
                              const tables::ReadProgress& progress) {
  PlayedTables played;
  for (const auto& path : options.files) {
    tables::InputFile file = tables::readInputFile(path, now, progress);
    if (file.capture) append(captureWarnings(*file.capture), tables::printable(path) + ": ", played.warnings);
    tables::merge(std::move(file.tables), played.tables);
  }
  tables::settle(played.tables);
  if (tables::isEmpty(played.tables) && options.nullPeriod == 0)
    throw tables::InputError("there is no table to send");
  append(tables::warningsOf(played.tables, options.timing), "", played.warnings);
  played.periods = periodsOf(played.tables, options);
  append(vantor::warningsOf(played.periods), "period of ", played.warnings);
  return played;
}

void giveBackMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

}  // namespace vantor::cli
