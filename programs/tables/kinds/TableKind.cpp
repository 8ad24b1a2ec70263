#include "programs/tables/kinds/TableKind.h"

#include <algorithm>

#include "interface/psi/section.h"
#include "programs/tables/kinds/programPids.h"

namespace vantor::tables {

bool TableKind::hasTableId(std::uint8_t tableId) const {
  return std::any_of(types.begin(), types.end(), [=](const psi::TableType* type) { return type->has(tableId); });
}

bool TableKind::isOnPid(int pid) const {
  const int own = types.front()->pid;
  return own == psi::TableType::kAnyPid ? isProgramPid(pid) : pid == own;
}

bool TableKind::isWhole(const NumberedSections& sections) const {
  return !sections.empty() && sections.size() == sections.begin()->second.lastNumber() + 1U;
}

std::int32_t versionOnAir(std::int32_t version) { return version > kMaxVersion ? 0 : version; }

void warnOfVersion(const std::string& table, std::int32_t version, std::vector<std::string>& warnings) {
  if (version > kMaxVersion && version != kAutoVersion)
    warnings.push_back(table + ": version " + std::to_string(version) + " is above " + std::to_string(kMaxVersion) +
                       " and is sent as 0");
}

}  // namespace vantor::tables
