#pragma once

#include <cstdint>
#include <vector>

#include "interface/records.h"

/// Schedules of a working multiplex for benchmarks.

constexpr std::int64_t kFirstDay = 61041;  // MJD, 2026-01-01

/// One day of a service's schedule: 32 events of 100 bytes of text, four in each of eight
/// segments.
inline vantor::thrift::dvb_tables::EIT makeSchedule(int serviceId, int version) {
  using namespace vantor::thrift::dvb_tables;
  constexpr int kEvents = 32;
  EIT eit;
  eit.table_id = 0x50;
  eit.service_id = serviceId;
  eit.version_number = version;
  eit.transport_stream_id = 1;
  eit.original_network_id = 1;
  eit.__set_sectioning(EITSectioning::STANDARD);
  Descriptor text;
  text.tag = 0x4D;
  text.data.assign(100, 'x');
  for (int number = 0; number < kEvents; ++number) {
    const int minutes = number * 24 * 60 / kEvents;
    const int hour = minutes / 60;
    const int minute = minutes % 60;
    EITEvent event;
    event.event_id = number;
    event.start_time = kFirstDay << 24 | hour / 10 << 20 | hour % 10 << 16 | minute / 10 << 12 | minute % 10 << 8;
    event.duration = 0x004500;
    event.descriptors.assign(1, text);
    eit.events.push_back(event);
  }
  return eit;
}

/// One for each of so many services.
inline std::vector<vantor::thrift::dvb_tables::EIT> makeSchedules(std::size_t services) {
  std::vector<vantor::thrift::dvb_tables::EIT> schedules;
  for (std::size_t i = 1; i <= services; ++i) schedules.push_back(makeSchedule(static_cast<int>(i), 1));
  return schedules;
}
