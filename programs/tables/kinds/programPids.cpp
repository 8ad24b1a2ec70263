#include "programs/tables/kinds/programPids.h"

#include <algorithm>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/pidJson.h"

namespace vantor::tables {

namespace {

std::vector<std::int32_t> pidsInPat(const TableSet& set, std::int32_t program) {
  std::vector<std::int32_t> pids;
  if (set.pat)
    for (const auto& entry : set.pat->programs)
      if (entry.program_number == program) pids.push_back(entry.pid);
  return pids;
}

}  // namespace

std::string settlePid(const TableSet& set, ProgramMap& map) {
  const std::vector<std::int32_t> pids = pidsInPat(set, map.pmt.program_number);
  if (map.pid) {
    const bool agrees = pids.empty() || std::find(pids.begin(), pids.end(), *map.pid) != pids.end();
    return agrees ? "" : pidText(*map.pid) + " is not the PID " + pidText(pids.front()) + " that the PAT gives it";
  }
  if (pids.empty()) return "it has no PID, and no PAT names the program";
  if (!isProgramPid(pids.front()))
    return "the PAT gives it the PID " + pidText(pids.front()) + ", which is reserved";
  map.pid = pids.front();
  return "";
}

void settlePids(TableSet& set) {
  InputErrors errors;
  for (ProgramMap& map : set.pmts)
    if (const std::string problem = settlePid(set, map); !problem.empty())
      errors.add(psi::tableName(tableKeyOf(map)) + ": " + problem);
  errors.throwIfAny();
}

}  // namespace vantor::tables
