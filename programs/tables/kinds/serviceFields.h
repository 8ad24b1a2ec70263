#pragma once

#include <cstdint>

#include "programs/tables/descriptors/descriptors.h"
#include "programs/tables/json/JsonValue.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/kinds/fields.h"
#include "programs/tables/sections/Section.h"

/// Fields that the services of an SDT and the events of an EIT share. Those that are left out are 0 or false.

namespace vantor::tables {

/// A name of EN 300 468 table 6, like "running", or a number.
std::int16_t readRunningStatus(const JsonValue& owner);
void writeRunningStatus(std::int16_t status, OrderedJson& owner);

template <typename Item>
void readServiceFields(const JsonValue& value, Item& item) {
  item.running_status = readRunningStatus(value);
  item.free_CA_mode = hasFlag(value, "free_CA_mode");
  if (hasFlag(value, "starts_section")) item.__set_starts_section(true);
  item.descriptors = readDescriptors(value);
}

template <typename Item>
void writeServiceFields(const Item& item, OrderedJson& json) {
  writeRunningStatus(item.running_status, json);
  writeFlag(item.free_CA_mode, "free_CA_mode", json);
  writeFlag(item.__isset.starts_section && item.starts_section, "starts_section", json);
  writeDescriptors(item.descriptors, json);
}

/// From the byte that ends in the upper bits of descriptors_loop_length.
template <typename Item>
void decodeServiceFields(std::uint8_t byte, Item& item) {
  item.running_status = static_cast<std::int16_t>(byte >> 5);
  item.free_CA_mode = (byte & 0x10) != 0;
}

}  // namespace vantor::tables
