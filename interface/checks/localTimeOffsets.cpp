#include "interface/checks/localTimeOffsets.h"

#include "interface/checks/Field.h"

namespace vantor::thrift::dvb_tables {

namespace {

bool hasChange(const Field& field, const LocalTimeOffset& record) {
  return inRange(field["time_of_change"], record.time_of_change, kMax40Bits);
}

bool canBeEntry(const Field& field, const LocalTimeOffset& record) {
  if (const std::size_t size = record.country_code.size(); size != kCountryCodeSize)
    return field["country_code"].refuse(std::to_string(size) + " bytes",
                                        "are not the " + std::to_string(kCountryCodeSize) + " of a country code");
  return inRange(field["country_region_id"], record.country_region_id, kMax6Bits) &&
         inRange(field["local_time_offset_polarity"], record.local_time_offset_polarity, kMax1Bit) &&
         hasChange(field, record);
}

bool canBeEntries(const Field& field, const std::vector<LocalTimeOffset>& records) {
  if (records.size() > kMaxLocalTimeOffsets)
    return field.refuse(std::to_string(records.size()),
                        "are more than the " + std::to_string(kMaxLocalTimeOffsets) + " that a TOT has room for");
  for (std::size_t i = 0; i < records.size(); ++i)
    if (!canBeEntry(field.element(i), records[i])) return false;
  return true;
}

}  // namespace

std::optional<Refusal> check(const LocalTimeOffset& record) { return refusalOf(record, &hasChange); }

std::optional<Refusal> check(const std::vector<LocalTimeOffset>& records) {
  return refusalOf(records, &canBeEntries);
}

}  // namespace vantor::thrift::dvb_tables
