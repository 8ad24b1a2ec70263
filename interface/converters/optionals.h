#pragma once

#include "interface/records.h"

/// The values of optional fields of records: the given one, or what it counts as when it is not given.

namespace vantor::thrift::dvb_tables {

/// Whether a service, an event or a transport stream begins a new section although the section before it still has
/// room.
template <typename Item>
bool startsSection(const Item& item) {
  return item.__isset.starts_section && item.starts_section;
}

/// Whether each section of a NIT has all descriptors of the network.
inline bool repeatsDescriptors(const NIT& record) {
  return record.__isset.repeats_descriptors && record.repeats_descriptors;
}

/// Whether the first event of a present/following table is the following one.
inline bool isPresentMissing(const EIT& record) { return record.__isset.present_missing && record.present_missing; }

/// The value that is sent as last_table_id. It is not checked here that it fits in 8 bits.
inline int lastTableId(const EIT& record) {
  return record.__isset.last_table_id ? record.last_table_id : record.table_id;
}

/// The MJD of the day with which segment 0 of a schedule begins; 0 when nothing tells it. It is not checked here
/// that it fits in 16 bits.
inline int firstDay(const EIT& record) {
  if (record.__isset.first_day) return record.first_day;
  return record.events.empty() ? 0 : static_cast<int>(record.events.front().start_time >> 24);
}

}  // namespace vantor::thrift::dvb_tables
