#include "programs/tables/values/localTimeJson.h"

#include <cstdio>

#include "programs/tables/json/InputError.h"
#include "programs/tables/values/TextReader.h"
#include "programs/tables/values/eventTime.h"

namespace vantor::tables {

namespace {

using thrift::dvb_tables::LocalTimeOffset;

constexpr const char* kZone = "time_zone";
constexpr const char* kCurrent = "local_time_offset";
constexpr const char* kChange = "time_of_change";
constexpr const char* kNext = "next_time_offset";
constexpr std::size_t kOffsetDigits = 4;

/// "+01:00" or "-03:30", from hhmm in BCD; what is no time, in hex.
std::string offsetText(std::int16_t bcd, bool isNegative) {
  const auto value = static_cast<std::uint16_t>(bcd);
  const bool isTime =
      (value >> 12) <= 9 && (value >> 8 & 0xF) <= 9 && (value >> 4 & 0xF) <= 5 && (value & 0xF) <= 9;
  char text[16];
  if (isTime)
    std::snprintf(text, sizeof text, "%c%02x:%02x", isNegative ? '-' : '+', value >> 8, value & 0xFFU);
  else
    std::snprintf(text, sizeof text, "%c0x%04x", isNegative ? '-' : '+', value);
  return text;
}

struct Offset {
  bool isNegative;
  std::int16_t bcd;
};

/// hhmm in BCD, from "hh:mm" or four hex digits behind "0x".
std::optional<std::int16_t> readCode(const std::string& text) {
  TextReader reader(text);
  const std::int64_t hours = reader.number(2, 2, 99);
  reader.expect(":");
  const std::int64_t minutes = reader.number(2, 2, 59);
  if (reader.isRead()) return offsetCode(static_cast<int>(hours * 60 + minutes));
  const auto raw = readHex(text, kOffsetDigits);
  return raw ? std::optional(static_cast<std::int16_t>(*raw)) : std::nullopt;
}

Offset readOffset(const JsonValue& value) {
  const std::string& text = value.string();
  const bool isSigned = !text.empty() && (text[0] == '+' || text[0] == '-');
  const auto bcd = isSigned ? readCode(text.substr(1)) : std::nullopt;
  if (!bcd) value.fail(value.shown() + " is not an offset like \"+01:00\"");
  return {text[0] == '-', *bcd};
}

void readFixed(const JsonValue& value, UtcTime now, LocalTimeOffset& record) {
  const Offset current = readOffset(value.required(kCurrent));
  Offset next = current;
  if (const auto change = value.optional(kChange)) {
    record.time_of_change = readStartTime(*change, now);
    const JsonValue nextValue = value.required(kNext);
    next = readOffset(nextValue);
    if (next.isNegative != current.isNegative && next.bcd != 0 && current.bcd != 0)
      nextValue.fail("the sign is not that of local_time_offset: the table has one for both");
  } else if (value.optional(kNext)) {
    value.required(kChange);
  }
  // An offset of zero has whatever sign the other one has.
  record.local_time_offset_polarity = (current.bcd != 0 ? current : next).isNegative ? 1 : 0;
  record.local_time_offset = current.bcd;
  record.next_time_offset = next.bcd;
}

void readZone(const JsonValue& value, UtcTime now, LocalTime& local) {
  for (const char* field : {kCurrent, kChange, kNext})
    if (const auto given = value.optional(field)) given->fail("time_zone tells it already");
  const JsonValue zone = value.required(kZone);
  local.timeZone = zone.string();
  if (local.timeZone.empty()) zone.fail("is empty");
  try {
    recordAt(local, now);
  } catch (const InputError& error) {
    zone.fail(error.what());
  }
}

}  // namespace

LocalTime readLocalTime(const JsonValue& value, std::vector<const char*> otherFields, UtcTime now) {
  otherFields.insert(otherFields.end(), {kZone, kCurrent, kChange, kNext});
  value.allowOnly(otherFields);
  LocalTime local;
  if (value.optional(kZone))
    readZone(value, now, local);
  else
    readFixed(value, now, local.record);
  return local;
}

void writeLocalTime(const LocalTime& local, OrderedJson& json) {
  if (!local.timeZone.empty()) {
    json[kZone] = local.timeZone;
    return;
  }
  const LocalTimeOffset& record = local.record;
  const bool isNegative = record.local_time_offset_polarity != 0;
  json[kCurrent] = offsetText(record.local_time_offset, isNegative);
  if (record.time_of_change == 0 && record.next_time_offset == record.local_time_offset) return;
  json[kChange] = startTimeText(record.time_of_change);
  json[kNext] = offsetText(record.next_time_offset, isNegative);
}

}  // namespace vantor::tables
