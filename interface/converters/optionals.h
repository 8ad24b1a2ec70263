#pragma once

#include "interface/records.h"

/// What optional fields of records stand for, given or not.

namespace vantor::thrift::dvb_tables {

/// For services and events: whether they begin a new section though the one before has room.
template <typename Item>
bool startsSection(const Item& item) {
  return item.__isset.starts_section && item.starts_section;
}

/// Whether the first event of a present/following table is the following one.
inline bool isPresentMissing(const EIT& record) { return record.__isset.present_missing && record.present_missing; }

/// Not checked to fit in 8 bits.
inline int lastTableId(const EIT& record) {
  return record.__isset.last_table_id ? record.last_table_id : record.table_id;
}

/// The MJD that segment 0 of a schedule starts at; 0 without events. Not checked to fit in 16 bits.
inline int firstDay(const EIT& record) {
  if (record.__isset.first_day) return record.first_day;
  return record.events.empty() ? 0 : static_cast<int>(record.events.front().start_time >> 24);
}

}  // namespace vantor::thrift::dvb_tables
