#include "programs/tables/kinds/TableKind.h"

namespace vantor::tables {

namespace {

constexpr std::int32_t kMaxVersion = 31;

}  // namespace

bool TableKind::isWhole(const NumberedSections& sections) const {
  return !sections.empty() && sections.size() == sections.begin()->second.lastNumber() + 1U;
}

std::int32_t versionOnAir(std::int32_t version) { return version > kMaxVersion ? 0 : version; }

void warnOfVersion(const std::string& table, std::int32_t version, std::vector<std::string>& warnings) {
  if (version > kMaxVersion)
    warnings.push_back(table + ": version " + std::to_string(version) + " is above 31 and is sent as 0");
}

}  // namespace vantor::tables
