#pragma once

#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "programs/tables/descriptors/BitReader.h"
#include "programs/tables/descriptors/loops.h"
#include "programs/tables/kinds/fields.h"

/// What ATSC's tables share, ATSC A/65.

namespace vantor::tables {

/// The field of a table set that holds them.
constexpr const char* kPsipGroup = "atsc";

/// version_number, current_next_indicator, and protocol_version where it is not 0.
template <typename Record>
void readPsipHead(const JsonValue& value, Record& record) {
  readVersion(value, record);
  readIntegerIfGiven(value, "protocol_version", record.protocol_version);
}

template <typename Record>
void writePsipHead(const Record& record, OrderedJson& json) {
  writeVersion(record, json);
  if (record.protocol_version != 0) json["protocol_version"] = record.protocol_version;
}

/// Reads reserved bits and a length, 16 bits together, and so many bytes of whole descriptors.
inline Descriptors takeDescriptors(BitReader& bits, unsigned lengthBits) {
  bits.bits(16 - lengthBits);
  const std::string_view loop = bits.bytes(bits.bits(lengthBits));
  if (holdsDescriptors(loop)) return descriptorsOf(loop);
  bits.fail();
  return {};
}

template <typename Item>
void append(std::vector<Item> items, std::vector<Item>& to) {
  to.insert(to.end(), std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
}

/// The table that the sections of one version make; none when `readPayload`, which adds what one section has,
/// refuses one of them.
template <typename Record, typename ReadPayload>
std::optional<Record> decodePsip(const std::vector<Section>& sections, ReadPayload readPayload) {
  Record record;
  record.version_number = sections.front().version();
  record.current_next_indicator = sections.front().currentNext();
  for (const Section& section : sections)
    if (!readPayload(section, record)) return std::nullopt;
  return record;
}

}  // namespace vantor::tables
