#pragma once

#include <cstdint>

#include "interface/psi/pids.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"

/// Fields that many tables share.

namespace vantor::tables {

/// A 16-bit identifier.
inline std::int32_t readId(const JsonValue& owner, const char* field) {
  return static_cast<std::int32_t>(owner.required(field).integer(0, 0xFFFF));
}

inline std::int32_t readPid(const JsonValue& owner, const char* field) {
  return static_cast<std::int32_t>(owner.required(field).integer(0, kMaxPid));
}

/// Flags may be absent, which means false.
inline bool hasFlag(const JsonValue& owner, const char* field) {
  const auto value = owner.optional(field);
  return value && value->boolean();
}

inline void writeFlag(bool value, const char* field, OrderedJson& owner) {
  if (value) owner[field] = true;
}

template <typename Record>
void readVersion(const JsonValue& owner, Record& record) {
  // Above 31 it is sent as 0, which is not this reader's business.
  record.version_number = static_cast<std::int32_t>(owner.required("version_number").integer(0, INT32_MAX));
  if (const auto current = owner.optional("current_next_indicator"))
    record.current_next_indicator = current->boolean();
}

template <typename Record>
void writeVersion(const Record& record, OrderedJson& owner) {
  owner["version_number"] = record.version_number;
  if (!record.current_next_indicator) owner["current_next_indicator"] = false;
}

}  // namespace vantor::tables
