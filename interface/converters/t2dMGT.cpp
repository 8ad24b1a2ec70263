#include "interface/converters/t2dMGT.h"

#include "interface/converters/atscTables.h"
#include "interface/converters/owned.h"
#include "interface/psi/tableIds.h"

namespace vantor::thrift::dvb_tables {

namespace {

constexpr std::uint16_t kTableIdExtension = 0;  // ATSC A/65 clause 6.2

bool fitsSections(const Field& mgt, const MGT& record) {
  SectionCount sections(kMgtRoom);
  for (std::size_t i = 0; i < record.tables.size(); ++i)
    if (!sections.add(mgt.element("tables", i), record.tables[i].descriptors)) return false;
  for (const Descriptor& descriptor : record.descriptors) sections.add(wireSize(descriptor));
  return fitsSectionCount(mgt, sections.count());
}

bool canBeSent(const Field& field, const MGTTable& table) {
  return inRange(field["table_type"], table.table_type, kMax16Bits) &&
         inRange(field["table_type_pid"], table.table_type_pid, kMaxPid) &&
         inRange(field["table_type_version_number"], table.table_type_version_number, kMax5Bits) &&
         inRange(field["number_bytes"], table.number_bytes, kMax32Bits) &&
         areDescriptors(field, "descriptors", table.descriptors);
}

bool canBeSent(const Field& mgt, const MGT& record) {
  if (!isVersion(mgt["version_number"], record.version_number)) return false;
  if (!inRange(mgt["protocol_version"], record.protocol_version, kMax8Bits)) return false;
  for (std::size_t i = 0; i < record.tables.size(); ++i)
    if (!canBeSent(mgt.element("tables", i), record.tables[i])) return false;
  return areDescriptors(mgt, "descriptors", record.descriptors) && fitsSections(mgt, record);
}

}  // namespace

std::optional<Refusal> check(const MGT& record) { return refusalOf(record, &canBeSent); }

dvbpsi_atsc_mgt_t* t2dMGT(const MGT& record) {
  if (isRefused("MGT", check(record))) return nullptr;
  MgtTable mgt(dvbpsi_atsc_NewMGT(kMgtTableId, kTableIdExtension, versionByte(record.version_number),
                                  static_cast<std::uint8_t>(record.protocol_version),
                                  record.current_next_indicator));
  if (!mgt) return nullptr;
  dvbpsi_atsc_mgt_table_t** end = &mgt->p_first_table;
  for (const MGTTable& table : record.tables) {
    dvbpsi_atsc_mgt_table_t* const added = appendNode(end);
    if (added == nullptr) return nullptr;
    added->i_table_type = static_cast<std::uint16_t>(table.table_type);
    added->i_table_type_pid = static_cast<std::uint16_t>(table.table_type_pid);
    added->i_table_type_version = static_cast<std::uint8_t>(table.table_type_version_number);
    added->i_number_bytes = static_cast<std::uint32_t>(table.number_bytes);
    if (!addDescriptors(added, &addDescriptor<dvbpsi_atsc_mgt_table_t>, table.descriptors)) return nullptr;
  }
  if (!addDescriptors(mgt.get(), &addDescriptor<dvbpsi_atsc_mgt_t>, record.descriptors)) return nullptr;
  return mgt.release();
}

}  // namespace vantor::thrift::dvb_tables
