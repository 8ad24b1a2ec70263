/// Replaces one service's present and following events while those of many others are on air, for a test that
/// watches the socket.
///
///   wire_replace_events PORT SERVICES REPLACEMENTS
///
/// sends an EIT present/following of each service to 127.0.0.1:PORT and replaces that of the middle one every few
/// seconds. For each version of it standard output gets a line: the version and when it was handed in, in
/// nanoseconds of the system clock.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "servicemux/front/serviceMux.h"

namespace {

using namespace std::chrono_literals;
using namespace vantor::thrift::dvb_tables;

constexpr unsigned int kBitrate = 2000;  // kbit/s
constexpr auto kSettling = 4s;           // two periods
constexpr auto kPause = 2700ms;          // so that replacements come at all phases of the period

EITEvent makeEvent(int id, int version) {
  Descriptor text;
  text.tag = 0x4D;
  text.data = "eng" + std::string(1, '\xB4') + std::string(0xB4, static_cast<char>('0' + version)) + '\0';
  EITEvent event;
  event.event_id = id;
  event.start_time = 0xEE71120000;
  event.duration = 0x010000;
  event.descriptors.push_back(text);
  return event;
}

vantor::serviceMux::EITRecords makePresentFollowing(int service, int version) {
  EIT eit;
  eit.table_id = 0x4E;
  eit.service_id = service;
  eit.version_number = version;
  eit.transport_stream_id = 1;
  eit.original_network_id = 1;
  eit.__set_sectioning(EITSectioning::STANDARD);
  eit.events = {makeEvent(1, version), makeEvent(2, version)};
  return {{0, {{0, eit}}}};
}

void run(vantor::serviceMux& mux, int services, int replacements) {
  const int replaced = services / 2;
  for (int service = 1; service <= services; ++service) mux.newEITpf(makePresentFollowing(service, 0));
  std::this_thread::sleep_for(kSettling);
  for (int version = 1; version <= replacements; ++version) {
    std::cout << version << ' ' << std::chrono::system_clock::now().time_since_epoch() / 1ns << '\n';
    mux.newEITpf(makePresentFollowing(replaced, version));
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: wire_replace_events PORT SERVICES REPLACEMENTS\n";
    return 2;
  }
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = std::atoi(argv[1]);
  vantor::serviceMux mux("replace", address, "");
  mux.setBitrate(kBitrate);
  run(mux, std::atoi(argv[2]), std::atoi(argv[3]));
}
