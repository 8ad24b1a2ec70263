#pragma once

#include <cstddef>
#include <string>

#include "interface/records.h"

/// Parts of records, in one line each.

inline vantor::thrift::dvb_tables::PATProgram program(int number, int pid) {
  vantor::thrift::dvb_tables::PATProgram program;
  program.program_number = number;
  program.pid = pid;
  return program;
}

inline vantor::thrift::dvb_tables::Descriptor descriptor(int tag, const std::string& data) {
  vantor::thrift::dvb_tables::Descriptor descriptor;
  descriptor.tag = static_cast<std::int16_t>(tag);
  descriptor.data = data;
  return descriptor;
}

/// With so many bytes of data, which tell where they come from.
inline vantor::thrift::dvb_tables::Descriptor descriptorOf(std::size_t size) {
  std::string data(size, '\0');
  for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<char>(i * 7 + size);
  return descriptor(0x5F, data);
}

inline vantor::thrift::dvb_tables::NITTransportStream transportStream(
    int id, int network, std::vector<vantor::thrift::dvb_tables::Descriptor> descriptors) {
  vantor::thrift::dvb_tables::NITTransportStream stream;
  stream.transport_stream_id = id;
  stream.original_network_id = network;
  stream.descriptors = std::move(descriptors);
  return stream;
}
