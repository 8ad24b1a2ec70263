#include <benchmark/benchmark.h>

#include "bench/loopback.h"
#include "interface/host.h"
#include "interface/host_default/log.h"
#include "servicemux/front/serviceMux.h"

namespace {

using namespace vantor;

constexpr std::size_t kSectionSize = 100;
constexpr int kFirstPid = 0x100;

thrift::general::ScramblerConfig makeConfig(int pids) {
  thrift::general::ScramblerConfig config;
  config.enabled = true;
  config.scrambler_type = 3;
  for (int i = 0; i < pids; ++i) config.ecm_pids[1].push_back(kFirstPid + i);
  config.emm_pids[1].push_back(kFirstPid - 1);
  return config;
}

/// A new ECM, from the call until its stream holds it, with so many live PIDs on air that each get one in turn.
void setLiveECM(benchmark::State& state) {
  const int pids = static_cast<int>(state.range(0));
  setLogThreshold(HOST_LOG_ERROR);
  serviceMux mux("bench", loopback(), "");
  mux.setBitrate(50000);
  mux.setDRMConfig(makeConfig(pids));
  thrift::simulcrypt::ECMItem ecm;
  ecm.data.assign(kSectionSize, 'e');
  int i = 0;
  const auto setNext = [&] {
    ecm.pid = kFirstPid + i++ % pids;
    mux.setLiveECM(ecm);
  };
  while (i < pids) setNext();
  for (auto _ : state) setNext();
}

}  // namespace

BENCHMARK(setLiveECM)->Arg(1)->Arg(100)->Arg(1000)->UseRealTime();
