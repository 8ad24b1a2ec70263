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
