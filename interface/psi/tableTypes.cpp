#include "interface/psi/tableTypes.h"

#include <cstdio>

namespace vantor::psi {

namespace {

constexpr const TableType* kTypes[] = {
    &kPat,
    &kCat,
    &kPmt,
    &kTsdt,
    &kDsmCc,
    &kNitActual,
    &kNitOther,
    &kSdtActual,
    &kSdtOther,
    &kBat,
    &kEitPfActual,
    &kEitPfOther,
    &kEitScheduleActual,
    &kEitScheduleOther,
    &kTdt,
    &kRst,
    &kStuffingTable,
    &kTot,
    &kAit,
    &kDit,
    &kSit,
    &kEcm,
    &kEmm,
    &kMgt,
    &kTerrestrialVct,
    &kCableVct,
    &kRrt,
    &kAtscEit,
    &kAtscEtt,
    &kStt,
    &kSpliceInfo,
};

std::string hexByte(std::uint8_t value) {
  char text[3];
  std::snprintf(text, sizeof text, "%02x", static_cast<unsigned int>(value));
  return text;
}

std::string stream(const TableKey& key) {
  return std::to_string(key.transport_stream_id) + '/' + std::to_string(key.original_network_id);
}

/// Behind the name of its kind; empty for a kind of which an output has one table.
std::string identity(const TableType& type, const TableKey& key) {
  if (&type == &kSdtOther) return ' ' + stream(key);
  if (!type.isMany) return "";
  // The schedule of a service has several table_ids when it is long.
  const std::string id = type.firstTableId == type.lastTableId ? "" : ' ' + hexByte(key.table_id);
  return id + ' ' + std::to_string(key.extension);
}

}  // namespace

const TableType* tableTypeOf(std::uint8_t table_id) {
  for (const TableType* const type : kTypes)
    if (type->has(table_id)) return type;
  return nullptr;
}

std::string tableTypeName(std::uint8_t table_id) {
  const TableType* const type = tableTypeOf(table_id);
  if (type != nullptr) return type->name;
  char name[sizeof "table id 0xFF"];
  std::snprintf(name, sizeof name, "table id 0x%02X", static_cast<unsigned int>(table_id));
  return name;
}

std::string tableName(const TableKey& key) {
  const TableType* const type = tableTypeOf(key.table_id);
  return tableTypeName(key.table_id) + (type == nullptr ? "" : identity(*type, key));
}

std::string tableNameOfStream(const TableKey& key) { return tableName(key) + " of " + stream(key); }

}  // namespace vantor::psi
