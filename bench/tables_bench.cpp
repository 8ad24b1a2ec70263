#include <benchmark/benchmark.h>

#include "bench/loopback.h"
#include "bench/tables.h"
#include "interface/host.h"
#include "interface/host_default/log.h"
#include "servicemux/front/serviceMux.h"

namespace {

using namespace vantor;

/// Replaces one table on air, from the record to the packets that its stream holds.
template <typename Intake>
void replace(benchmark::State& state, Intake intake) {
  setLogThreshold(HOST_LOG_ERROR);
  serviceMux mux("bench", loopback(), "");
  for (auto _ : state) intake(mux);
}

void newPat(benchmark::State& state) {
  replace(state, [record = workload::makePat()](serviceMux& mux) { mux.newPAT(record); });
}

void newCat(benchmark::State& state) {
  replace(state, [record = workload::makeCat()](serviceMux& mux) { mux.newCAT(record); });
}

void newNit(benchmark::State& state) {
  replace(state, [record = workload::makeNit()](serviceMux& mux) { mux.newNIT(record); });
}

void newPmt(benchmark::State& state) {
  replace(state, [record = workload::makePmt(1)](serviceMux& mux) { mux.newPMT(record, workload::kFirstPmtPid); });
}

void newSdtActual(benchmark::State& state) {
  replace(state, [record = workload::makeSdt(1)](serviceMux& mux) { mux.newSDTActual(record); });
}

void newSdtOther(benchmark::State& state) {
  replace(state, [record = workload::makeSdt(2)](serviceMux& mux) { mux.newSDTOthers(record); });
}

void newPresentFollowing(benchmark::State& state) {
  const serviceMux::EITRecords records{{0, {{0, workload::makePresentFollowing(1, 200)}}}};
  replace(state, [&](serviceMux& mux) { mux.newEITpf(records); });
}

void newSchedule(benchmark::State& state) {
  const serviceMux::EITRecords records{{0, {{0, workload::makeScheduleTable(1, 0)}}}};
  replace(state, [&](serviceMux& mux) { mux.newEITsch(records); });
}

}  // namespace

BENCHMARK(newPat)->UseRealTime();
BENCHMARK(newCat)->UseRealTime();
BENCHMARK(newNit)->UseRealTime();
BENCHMARK(newPmt)->UseRealTime();
BENCHMARK(newSdtActual)->UseRealTime();
BENCHMARK(newSdtOther)->UseRealTime();
BENCHMARK(newPresentFollowing)->UseRealTime();
BENCHMARK(newSchedule)->UseRealTime();
