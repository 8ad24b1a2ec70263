#pragma once

#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/pidJson.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/kinds/TableKind.h"

/// Fields that many tables share.

namespace vantor::tables {

constexpr const char* kAutoVersionText = "auto";

/// A number as its record holds it, in more bits than the wire has: what can be sent, the record's check knows.
template <typename Integer>
void readInteger(const JsonValue& owner, const char* field, Integer& to) {
  to = owner.required(field).integer<Integer>();
}

template <typename Integer>
void readIntegerIfGiven(const JsonValue& owner, const char* field, Integer& to) {
  if (const auto value = owner.optional(field)) to = value->integer<Integer>();
}

inline void readPid(const JsonValue& owner, const char* field, std::int32_t& to) {
  to = readPid(owner.required(field));
}

/// Flags may be absent, which means false.
inline bool hasFlag(const JsonValue& owner, const char* field) {
  const auto value = owner.optional(field);
  return value && value->boolean();
}

inline void writeFlag(bool value, const char* field, OrderedJson& owner) {
  if (value) owner[field] = true;
}

/// A version_number that is left out is counted, as "auto" is.
template <typename Record>
void readVersion(const JsonValue& owner, Record& record) {
  const auto version = owner.optional("version_number");
  const bool isCounted = !version || (version->isString() && version->string() == kAutoVersionText);
  record.version_number = isCounted ? kAutoVersion : version->integer<std::int32_t>();
  if (const auto current = owner.optional("current_next_indicator"))
    record.current_next_indicator = current->boolean();
}

template <typename Record>
void writeVersion(const Record& record, OrderedJson& owner) {
  if (record.version_number == kAutoVersion)
    owner["version_number"] = kAutoVersionText;
  else
    owner["version_number"] = record.version_number;
  if (!record.current_next_indicator) owner["current_next_indicator"] = false;
}

}  // namespace vantor::tables
