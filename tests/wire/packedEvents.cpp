/// Sends events in the layout that an EIT record has when it says nothing about it, for a test that watches the
/// socket.
///
///   wire_packed_events PORT EVENTS
///
/// repeats an EIT of so many events on 127.0.0.1:PORT for a few periods. Standard output gets the sections that
/// libdvbpsi makes of the same record in one go, a line of hex digits for each.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "interface/converters/owned.h"
#include "interface/converters/t2dEIT.h"
#include "servicemux/front/serviceMux.h"

namespace {

using namespace std::chrono_literals;
using namespace vantor::thrift::dvb_tables;

constexpr auto kDuration = 9s;  // four periods and a half
constexpr int kHour = 0x010000;
constexpr std::ptrdiff_t kCrcSize = 4;

/// Each event has a descriptor: without one libdvbpsi writes behind its buffer where the event finds no room.
EIT makeEit(int events) {
  EIT eit;
  eit.table_id = 0x4E;
  eit.service_id = 0x0401;
  eit.version_number = 3;
  eit.transport_stream_id = 4;
  eit.original_network_id = 0x20FA;
  for (int id = 1; id <= events; ++id) {
    Descriptor text;
    text.tag = 0x4D;
    text.data = "eng" + std::string(1, '\xC8') + std::string(0xC8, static_cast<char>('A' + id % 26)) + '\0';
    EITEvent event;
    event.event_id = id;
    event.start_time = 0xEE71120000;
    event.duration = kHour;
    event.descriptors.push_back(text);
    eit.events.push_back(event);
  }
  return eit;
}

void printGenerated(const EIT& record) {
  const vantor::EitTable eit(t2dEIT(record));
  dvbpsi_t* const handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
  dvbpsi_psi_section_t* const sections = dvbpsi_eit_sections_generate(handle, eit.get(), eit->i_table_id);
  for (const auto* section = sections; section != nullptr; section = section->p_next) {
    for (const auto* byte = section->p_data; byte != section->p_payload_end + kCrcSize; ++byte)
      std::printf("%02x", *byte);
    std::printf("\n");
  }
  dvbpsi_DeletePSISections(sections);
  dvbpsi_delete(handle);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: wire_packed_events PORT EVENTS\n";
    return 2;
  }
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = std::atoi(argv[1]);
  const EIT eit = makeEit(std::atoi(argv[2]));
  printGenerated(eit);
  vantor::serviceMux mux("packed", address, "");
  mux.newEITpf({{0, {{0, eit}}}});
  std::this_thread::sleep_for(kDuration);
}
