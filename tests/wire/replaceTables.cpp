/// Replaces tables of many packets while they are on air, for a test that watches the socket.
///
///   wire_replace_tables PORT REPLACEMENTS
///
/// sends PAT, CAT and NIT to 127.0.0.1:PORT. Version after version of the PAT and the NIT takes over, most of them
/// before the previous one has left in whole. Every packet of a table tells its version: the PAT of version v has
/// the PID 0x100 + v for all its programs, and all descriptors of the NIT are filled with v. The CAT stays.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "servicemux/front/serviceMux.h"

namespace {

using namespace std::chrono_literals;
using namespace vantor::thrift::dvb_tables;

constexpr int kVersions = 32;
constexpr int kPrograms = 250;
constexpr int kTransportStreams = 12;
constexpr std::size_t kDescriptorSize = 200;

// Mostly shorter than a table takes to leave; the long one lets all of it leave at least once.
constexpr auto kLongPause = 700ms;
constexpr std::chrono::milliseconds kPauses[] = {5ms, 40ms, kLongPause, 120ms, 65ms, 1ms, 190ms};

Descriptor makeDescriptor(int tag, int fill) {
  Descriptor descriptor;
  descriptor.tag = static_cast<std::int16_t>(tag);
  descriptor.data.assign(kDescriptorSize, static_cast<char>(fill));
  return descriptor;
}

PAT makePat(int version) {
  PAT pat;
  pat.transport_stream_id = 1;
  pat.version_number = version;
  for (int i = 1; i <= kPrograms; ++i) {
    PATProgram program;
    program.program_number = i;
    program.pid = 0x100 + version;
    pat.programs.push_back(program);
  }
  return pat;
}

CAT makeCat() {
  CAT cat;
  cat.descriptors.assign(3, makeDescriptor(9, 0xEE));
  return cat;
}

NIT makeNit(int version) {
  NIT nit;
  nit.network_id = 1;
  nit.version_number = version;
  nit.descriptors.push_back(makeDescriptor(0x80, version));
  for (int i = 1; i <= kTransportStreams; ++i) {
    NITTransportStream stream;
    stream.transport_stream_id = i;
    stream.original_network_id = 1;
    stream.descriptors.push_back(makeDescriptor(0x81, version));
    nit.transport_streams.push_back(stream);
  }
  return nit;
}

void replaceTables(vantor::serviceMux& mux, int replacements) {
  mux.newCAT(makeCat());
  for (int i = 0; i < replacements; ++i) {
    const int version = i % kVersions;
    if (i % 5 == 4) mux.clearNIT();
    mux.newPAT(makePat(version));
    mux.newNIT(makeNit(version));
    std::this_thread::sleep_for(kPauses[static_cast<std::size_t>(i) % std::size(kPauses)]);
  }
  std::this_thread::sleep_for(kLongPause);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: wire_replace_tables PORT REPLACEMENTS\n";
    return 2;
  }
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = std::atoi(argv[1]);
  vantor::serviceMux mux("replace", address, "");
  replaceTables(mux, std::atoi(argv[2]));
}
