#include "interface/psi/tableLimits.h"

#include "interface/psi/sectioning.h"
#include "interface/psi/tableTypes.h"

namespace vantor::psi {

namespace {

struct LimitedType {
  const TableType* type;
  TableLimit limit;
};

constexpr LimitedType kLimitedTypes[] = {
    {&kPat, kPatLimit},
    {&kPmt, kPmtLimit},
    {&kNitActual, kNitLimit},
    {&kNitOther, kNitLimit},
    {&kBat, kBatLimit},
    {&kSdtActual, kSdtActualLimit},
    {&kSdtOther, kSdtOtherLimit},
    {&kEitPfActual, kEitPfActualLimit},
    {&kEitPfOther, kEitPfOtherLimit},
    {&kTdt, kTimeLimit},
    {&kTot, kTimeLimit},
    {&kMgt, kMgtLimit},
    {&kTerrestrialVct, kVctLimit},
    {&kCableVct, kVctLimit},
    {&kRrt, kRrtLimit},
    {&kStt, kSttLimit},
};

/// The day of a section of a schedule, 0 for today.
int dayOf(const TableType& schedule, std::uint8_t table_id, std::uint8_t section_number) {
  constexpr int kDaysPerTable = kSegmentsPerTable / kSegmentsPerDay;
  const int segment = static_cast<int>(section_number / kSectionsPerSegment);
  return (table_id - schedule.firstTableId) * kDaysPerTable + segment / kSegmentsPerDay;
}

TableLimit scheduleLimit(bool isOther, int day, Network network) {
  if (network == Network::kCableOrSatellite) return day < kNearDays ? kNearScheduleLimit : kFarScheduleLimit;
  const bool isNear = day < kTerrestrialNearDays;
  if (isOther) return isNear ? kTerrestrialNearScheduleOtherLimit : kTerrestrialFarScheduleOtherLimit;
  return isNear ? kNearScheduleLimit : kFarScheduleLimit;
}

}  // namespace

std::optional<TableLimit> limitOf(std::uint8_t table_id, std::uint8_t section_number, Network network) {
  for (const TableType* const schedule : {&kEitScheduleActual, &kEitScheduleOther})
    if (schedule->has(table_id))
      return scheduleLimit(schedule == &kEitScheduleOther, dayOf(*schedule, table_id, section_number), network);
  if (kEitPfOther.has(table_id) && network == Network::kTerrestrial) return kTerrestrialEitPfOtherLimit;
  for (const LimitedType& limited : kLimitedTypes)
    if (limited.type->has(table_id)) return limited.limit;
  return std::nullopt;
}

bool keepsGap(std::uint8_t table_id) {
  const bool isPsi = table_id <= kTsdtTableId;
  const bool isSi = kNitActualTableId <= table_id && table_id <= kTotTableId;
  return (isPsi || isSi) && !kStuffingTable.has(table_id);
}

}  // namespace vantor::psi
