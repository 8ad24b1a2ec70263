/// Plays a table set and gives its ECMs the other table id again and again, as a live scrambler does when it
/// changes keys, for a test that watches the socket.
///
///   wire_alternate_ecms PORT FILE CHANGES
///
/// sends to 127.0.0.1:PORT; ten seconds lie between two changes and before the end.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "programs/tables/sets/OnAir.h"
#include "programs/tables/sets/inputFile.h"
#include "servicemux/front/serviceMux.h"

namespace {

using namespace vantor;

constexpr char kOtherTableId = 0x01;  // between 0x80 and 0x81
constexpr std::chrono::seconds kKeyPeriod(10);

void run(serviceMux& mux, tables::TableSet& set, int changes) {
  const tables::OnAir onAir(set, mux, std::chrono::system_clock::now());
  for (int i = 0; i < changes; ++i) {
    std::this_thread::sleep_for(kKeyPeriod);
    for (auto& ecm : set.conditionalAccess->liveEcms) {
      ecm.data[0] = static_cast<char>(ecm.data[0] ^ kOtherTableId);
      mux.setLiveECM(ecm);
    }
  }
  std::this_thread::sleep_for(kKeyPeriod);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: wire_alternate_ecms PORT FILE CHANGES\n";
    return 2;
  }
  thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = std::atoi(argv[1]);
  tables::InputFile file = tables::readInputFile(argv[2]);
  serviceMux mux("ecms", address, "");
  run(mux, file.tables, std::atoi(argv[3]));
}
