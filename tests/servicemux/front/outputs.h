#pragma once

#include <string>

#include "interface/records.h"

/// Outputs and table records for tests of the front.

inline vantor::thrift::general::OutputAddress makeAddress(const std::string& ip = "127.0.0.1", int port = 5004,
                                                          int vlan = 1) {
  vantor::thrift::general::OutputAddress address;
  address.ip = ip;
  address.port = port;
  address.vlan = vlan;
  return address;
}

inline vantor::thrift::dvb_tables::PAT makePat(int version, int programs = 1, int pid = 0x100) {
  vantor::thrift::dvb_tables::PAT pat;
  pat.transport_stream_id = 0x2A;
  pat.version_number = version;
  for (int number = 1; number <= programs; ++number) {
    vantor::thrift::dvb_tables::PATProgram program;
    program.program_number = number;
    program.pid = pid;
    pat.programs.push_back(program);
  }
  return pat;
}

inline vantor::thrift::dvb_tables::Descriptor makeDescriptor(int tag, std::size_t size, char fill) {
  vantor::thrift::dvb_tables::Descriptor descriptor;
  descriptor.tag = static_cast<std::int16_t>(tag);
  descriptor.data.assign(size, fill);
  return descriptor;
}

inline vantor::thrift::dvb_tables::CAT makeCat(int version) {
  vantor::thrift::dvb_tables::CAT cat;
  cat.version_number = version;
  cat.descriptors.push_back(makeDescriptor(9, 4, '\x5A'));
  return cat;
}

/// Each descriptor takes 200 bytes, filled with the version; five fit in a section.
inline vantor::thrift::dvb_tables::NIT makeNit(int version, std::size_t descriptors = 1) {
  vantor::thrift::dvb_tables::NIT nit;
  nit.network_id = 0x3001;
  nit.version_number = version;
  nit.descriptors.assign(descriptors, makeDescriptor(0x80, 198, static_cast<char>(version)));
  return nit;
}

inline vantor::thrift::dvb_tables::PMT makePmt(int program, int version, int pcrPid = 0x1FFF) {
  vantor::thrift::dvb_tables::PMT pmt;
  pmt.program_number = program;
  pmt.version_number = version;
  pmt.pcr_pid = pcrPid;
  return pmt;
}

/// Each service takes 105 bytes; nine fit in a section.
inline vantor::thrift::dvb_tables::SDT makeSdt(int transportStreamId, int originalNetworkId, int version,
                                               int services = 1) {
  vantor::thrift::dvb_tables::SDT sdt;
  sdt.transport_stream_id = transportStreamId;
  sdt.original_network_id = originalNetworkId;
  sdt.version_number = version;
  for (int number = 1; number <= services; ++number) {
    vantor::thrift::dvb_tables::SDTService service;
    service.service_id = number;
    service.running_status = 4;
    service.descriptors.push_back(makeDescriptor(0x80, 98, static_cast<char>(version)));
    sdt.services.push_back(service);
  }
  return sdt;
}

/// An EIT whose events follow each other every three hours from 00:00 on 2026-01-01; each takes 212 bytes.
inline vantor::thrift::dvb_tables::EIT makeEit(int tableId, int serviceId, int version, int events = 1) {
  constexpr std::int64_t kDay = 61041;
  vantor::thrift::dvb_tables::EIT eit;
  eit.table_id = static_cast<std::int16_t>(tableId);
  eit.service_id = serviceId;
  eit.version_number = version;
  eit.transport_stream_id = 0x2A;
  eit.original_network_id = 0x3001;
  for (int number = 0; number < events; ++number) {
    const int hour = number % 8 * 3;
    vantor::thrift::dvb_tables::EITEvent event;
    event.event_id = number;
    event.start_time = (kDay + number / 8) << 24 | (hour / 10) << 20 | (hour % 10) << 16;
    event.duration = 0x030000;
    event.descriptors.push_back(makeDescriptor(0x80, 198, static_cast<char>(version)));
    eit.events.push_back(event);
  }
  return eit;
}

inline vantor::thrift::dvb_tables::VCT makeVct(int tableId, int version, int channels = 1) {
  vantor::thrift::dvb_tables::VCT vct;
  vct.table_id = static_cast<std::int16_t>(tableId);
  vct.transport_stream_id = 0x2A;
  vct.version_number = version;
  for (int number = 1; number <= channels; ++number) {
    vantor::thrift::dvb_tables::VCTChannel channel;
    channel.short_name = "CH " + std::to_string(number);
    channel.major_channel_number = 1;
    channel.minor_channel_number = static_cast<std::int16_t>(number);
    channel.program_number = number;
    vct.channels.push_back(channel);
  }
  return vct;
}
