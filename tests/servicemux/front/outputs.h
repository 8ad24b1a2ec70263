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
