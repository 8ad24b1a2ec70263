#pragma once

#include <string>
#include <vector>

#include "bench/schedules.h"
#include "interface/dvbpsi.h"
#include "interface/records.h"

/// The tables of a working multiplex of ten services for benchmarks.

namespace workload {

namespace records = vantor::thrift::dvb_tables;

constexpr int kServices = 10;
constexpr int kFirstPmtPid = 0x100;
constexpr int kOtherStreams = 8;
constexpr int kRunning = 4;
/// With ten services, 150 kB of schedule sections.
constexpr int kScheduleTables = 4;

inline records::Descriptor descriptor(int tag, std::string data) {
  records::Descriptor made;
  made.tag = static_cast<std::int16_t>(tag);
  made.data = std::move(data);
  return made;
}

inline std::string bytes16(int value) {
  return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

/// EN 300 468 clause 6.2.33.
inline records::Descriptor serviceDescriptor(int serviceId) {
  const std::string name = "Service number " + std::to_string(serviceId);
  const std::string provider = "Provider";
  return descriptor(0x48, '\x01' + std::string(1, static_cast<char>(provider.size())) + provider +
                              std::string(1, static_cast<char>(name.size())) + name);
}

inline records::PAT makePat() {
  records::PAT pat;
  pat.transport_stream_id = 1;
  pat.version_number = 1;
  for (int service = 0; service <= kServices; ++service) {
    records::PATProgram program;
    program.program_number = service;
    program.pid = service == 0 ? 0x10 : kFirstPmtPid + service;
    pat.programs.push_back(program);
  }
  return pat;
}

inline records::CAT makeCat() {
  records::CAT cat;
  cat.version_number = 1;
  cat.descriptors.push_back(descriptor(0x09, bytes16(0x0500) + bytes16(0xE000 | 0x0200)));
  return cat;
}

/// This stream and the others, each with a delivery system and a service list.
inline records::NIT makeNit() {
  records::NIT nit;
  nit.network_id = 1;
  nit.version_number = 1;
  nit.descriptors.push_back(descriptor(0x40, "Network"));
  for (int stream = 1; stream <= kOtherStreams + 1; ++stream) {
    records::NITTransportStream entry;
    entry.transport_stream_id = stream;
    entry.original_network_id = 1;
    entry.descriptors.push_back(descriptor(0x5A, std::string(11, '\x55')));
    std::string services;
    for (int service = 1; service <= kServices; ++service) services += bytes16(service) + '\x01';
    entry.descriptors.push_back(descriptor(0x41, services));
    nit.transport_streams.push_back(entry);
  }
  return nit;
}

/// Video, two languages, subtitles.
inline records::PMT makePmt(int program, int version = 1) {
  records::PMT pmt;
  pmt.program_number = program;
  pmt.version_number = version;
  pmt.pcr_pid = 0x1000;
  const int types[] = {0x1B, 0x03, 0x03, 0x06};
  for (int i = 0; i < 4; ++i) {
    records::PMTStream stream;
    stream.stream_type = static_cast<std::int16_t>(types[i]);
    stream.elementary_pid = 0x1000 + i;
    stream.descriptors.push_back(descriptor(0x52, std::string(1, static_cast<char>(i))));
    if (i > 0) stream.descriptors.push_back(descriptor(0x0A, std::string("deu\0", 4)));
    pmt.streams.push_back(stream);
  }
  return pmt;
}

inline records::SDT makeSdt(int transportStreamId) {
  records::SDT sdt;
  sdt.transport_stream_id = transportStreamId;
  sdt.original_network_id = 1;
  sdt.version_number = 1;
  for (int id = 1; id <= kServices; ++id) {
    records::SDTService service;
    service.service_id = id;
    service.EIT_schedule_flag = true;
    service.EIT_present_following_flag = true;
    service.running_status = kRunning;
    service.descriptors.push_back(serviceDescriptor(id));
    sdt.services.push_back(service);
  }
  return sdt;
}

/// The present and the following event, each with so many bytes of text.
inline records::EIT makePresentFollowing(int service, std::size_t text) {
  records::EIT eit = makeSchedule(service, 1);
  eit.table_id = 0x4E;
  eit.events.resize(2);
  for (records::EITEvent& event : eit.events) event.descriptors.assign(1, descriptor(0x4D, std::string(text, 'x')));
  return eit;
}

/// One of the schedule subtables of a service.
inline records::EIT makeScheduleTable(int service, int number) {
  records::EIT eit = makeSchedule(service, 1);
  eit.table_id = static_cast<std::int16_t>(0x50 + number);
  eit.__set_last_table_id(0x50 + kScheduleTables - 1);
  return eit;
}

/// Seven days of events of an hour each, in two tables of a service of another stream, as guide.py makes them.
constexpr int kGuideStream = 2;
constexpr int kFirstGuideService = 1001;
constexpr int kHoursOfTable[] = {96, 72};

/// Hours are counted from the first day's begin.
inline records::EITEvent makeGuideEvent(int hour) {
  records::EITEvent event;
  event.event_id = hour;
  const std::int64_t hourOfDay = hour % 24;
  event.start_time = (kFirstDay + hour / 24) << 24 | hourOfDay / 10 << 20 | hourOfDay % 10 << 16;
  event.duration = 0x010000;
  const std::string name = "Programme number";
  event.descriptors.push_back(descriptor(
      0x4D, "eng" + std::string(1, static_cast<char>(name.size())) + name + '\x96' + std::string(150, 'x')));
  event.descriptors.push_back(descriptor(0x54, std::string("\x10\0", 2)));
  return event;
}

inline records::EIT makeGuide(int service, int tableId, int firstHour, int hours) {
  records::EIT eit;
  eit.table_id = static_cast<std::int16_t>(tableId);
  eit.service_id = kFirstGuideService + service - 1;
  eit.version_number = 1;
  eit.transport_stream_id = kGuideStream;
  eit.original_network_id = 1;
  eit.__set_sectioning(records::EITSectioning::STANDARD);
  for (int hour = firstHour; hour < firstHour + hours; ++hour) eit.events.push_back(makeGuideEvent(hour));
  return eit;
}

/// The first or the second of the tables of a schedule.
inline records::EIT makeGuideTable(int service, int number) {
  records::EIT eit = makeGuide(service, 0x60 + number, number == 0 ? 0 : kHoursOfTable[0], kHoursOfTable[number]);
  eit.__set_last_table_id(0x61);
  return eit;
}

inline records::EIT makeGuidePresentFollowing(int service) { return makeGuide(service, 0x4F, 0, 2); }

inline std::vector<dvbpsi_local_time_offset_s> makeTimeOffsets() {
  dvbpsi_local_time_offset_s offset{};
  offset.i_country_code[0] = 'D';
  offset.i_country_code[1] = 'E';
  offset.i_country_code[2] = 'U';
  offset.i_local_time_offset = 0x0100;
  offset.i_time_of_change = 0xEEC8010000;  // 2026-03-29 01:00:00
  offset.i_next_time_offset = 0x0200;
  return {offset};
}

}  // namespace workload
