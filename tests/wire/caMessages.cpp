/// Sends CA messages, for a test that watches the socket.
///
///   wire_ca_messages PORT ECMS
///
/// sends to 127.0.0.1:PORT, with a Simulcrypt configuration. A hundred milliseconds after each other come so many
/// ECMs on PID 0x100, each of three packets and filled with the low byte of its number. Meanwhile PID 0x200 gets
/// two sets of EMMs, the second right behind the first and half as long, and, when both are gone, a third one. Each
/// EMM carries its number in the two bytes behind its length.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "servicemux/front/serviceMux.h"

namespace {

using namespace std::chrono_literals;

constexpr int kEcmPid = 0x100;
constexpr int kEmmPid = 0x200;
constexpr std::size_t kEcmSize = 500;
constexpr std::size_t kEmmSize = 150;
constexpr int kFirstSet = 100;
constexpr int kSecondSet = 50;
constexpr int kThirdSet = 100;

std::string makeSection(int tableId, std::size_t size, int fill) {
  std::string section(size, static_cast<char>(fill));
  section[0] = static_cast<char>(tableId);
  section[1] = static_cast<char>(0x70 | (size - 3) >> 8);
  section[2] = static_cast<char>((size - 3) & 0xFF);
  return section;
}

void setEcm(vantor::serviceMux& mux, int number) {
  vantor::thrift::simulcrypt::ECMItem ecm;
  ecm.pid = kEcmPid;
  ecm.data = makeSection(0x80 + number % 2, kEcmSize, number & 0xFF);
  mux.setLiveECM(ecm);
}

/// Numbers from `first` on; returns the one behind.
int setEmms(vantor::serviceMux& mux, int first, int count) {
  vantor::thrift::simulcrypt::EMMItem emms;
  emms.pid = kEmmPid;
  for (int number = first; number < first + count; ++number) {
    std::string section = makeSection(0x82, kEmmSize, 0xEE);
    section[3] = static_cast<char>(number >> 8);
    section[4] = static_cast<char>(number & 0xFF);
    emms.data += section;
  }
  mux.setLiveEMM(emms);
  return first + count;
}

void run(vantor::serviceMux& mux, int ecms) {
  vantor::thrift::general::ScramblerConfig config;
  config.enabled = true;
  config.scrambler_type = 3;
  config.ecm_pids[1] = {kEcmPid};
  config.emm_pids[1] = {kEmmPid};
  mux.setDRMConfig(config);
  int emm = 0;
  for (int number = 0; number < ecms; ++number) {
    setEcm(mux, number);
    if (number == 5) emm = setEmms(mux, setEmms(mux, 0, kFirstSet), kSecondSet);
    if (number == 25) setEmms(mux, emm, kThirdSet);
    std::this_thread::sleep_for(100ms);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: wire_ca_messages PORT ECMS\n";
    return 2;
  }
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = std::atoi(argv[1]);
  vantor::serviceMux mux("messages", address, "");
  run(mux, std::atoi(argv[2]));
}
