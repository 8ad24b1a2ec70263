#include "programs/tables/TableKind.h"

namespace vantor::tables {

namespace {

constexpr std::int32_t kMaxVersion = 31;

}  // namespace

const std::vector<const TableKind*>& allTableKinds() {
  // Schedules before present/following: their carousel takes its first steps at the pace of the table that comes
  // first, so that has to be one of many packets.
  static const std::vector<const TableKind*> kinds{
      &patKind(),
      &catKind(),
      &nitKind(),
      &pmtKind(),
      &sdtActualKind(),
      &sdtOtherKind(),
      &eitScheduleKind(),
      &eitPfKind(),
      &timeKind(),
      &mgtKind(),
      &terrestrialVctKind(),
      &cableVctKind(),
      &sttKind(),
      &conditionalAccessKind(),
  };
  return kinds;
}

bool TableKind::isWhole(const NumberedSections& sections) const {
  return !sections.empty() && sections.size() == sections.begin()->second.lastNumber() + 1U;
}

void failUnsendable(const JsonValue& value) { value.fail("the table cannot be sent"); }

std::int32_t versionOnAir(std::int32_t version) { return version > kMaxVersion ? 0 : version; }

void warnOfVersion(const std::string& table, std::int32_t version, std::vector<std::string>& warnings) {
  if (version > kMaxVersion)
    warnings.push_back(table + ": version " + std::to_string(version) + " is above 31 and is sent as 0");
}

}  // namespace vantor::tables
