/// Puts one new PMT after the other on air and tells when, as JSON: for each program number from 1 on, the moment
/// (CLOCK_REALTIME, ns) right before newPMT was called. Each PMT is on a PID of its own and taken off air again
/// before the next one.
///
///   wire_intake --port 5004 --timing standards --null-packets --bitrate 10000 --samples 1000

#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <thread>

#include "bench/tables.h"
#include "bench/wire/process.h"
#include "bench/wire/timing.h"
#include "interface/host.h"
#include "interface/host_default/log.h"
#include "servicemux/front/serviceMux.h"

namespace {

using namespace std::chrono_literals;

constexpr short kFirstPid = 0x200;
constexpr int kPids = 0x1000;
constexpr auto kOnAir = 15ms;  // and as long off air, so that the output is silent between the samples

std::int64_t putOnAir(vantor::serviceMux& mux, int program) {
  const auto record = workload::makePmt(program);
  const auto pid = static_cast<short>(kFirstPid + program % kPids);
  const std::int64_t called = realtimeNow();
  mux.newPMT(record, pid);
  std::this_thread::sleep_for(kOnAir);
  mux.clearPMT(static_cast<short>(program), pid);
  return called;
}

}  // namespace

int main(int argc, char** argv) {
  dieWithParent();
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  unsigned int bitrate = 1024;
  bool nullPackets = false;
  vantor::TimingProfile timing = vantor::TimingProfile::Classic;
  int samples = 0;
  CLI::App app("Measures the way of a PMT to the wire");
  app.add_option("--port", address.port, "of 127.0.0.1")->required();
  app.add_option("--bitrate", bitrate, "the ceiling in kbit/s");
  app.add_flag("--null-packets", nullPackets, "fill up to the ceiling");
  addTiming(app, timing);
  app.add_option("--samples", samples, "how many")->required()->check(CLI::Range(1, 0x7FFF));
  CLI11_PARSE(app, argc, argv);
  vantor::setLogThreshold(HOST_LOG_ERROR);
  vantor::serviceMux mux("bench", address, "");
  mux.setBitrate(bitrate);
  mux.setTimingProfile(timing);
  if (nullPackets) mux.newNULLPkts(0);
  std::this_thread::sleep_for(200ms);
  nlohmann::json calls = nlohmann::json::array();
  for (int program = 1; program <= samples; ++program) {
    calls.push_back(putOnAir(mux, program));
    std::this_thread::sleep_for(kOnAir +
                                std::chrono::microseconds(program * 7919 % 10000));  // at no beat of its own
  }
  std::cout << nlohmann::json{{"calls", calls}} << '\n';
}
