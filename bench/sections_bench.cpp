#include <benchmark/benchmark.h>

#include "bench/tables.h"
#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/converters/t2dCAT.h"
#include "interface/converters/t2dEIT.h"
#include "interface/converters/t2dNIT.h"
#include "interface/converters/t2dPAT.h"
#include "interface/converters/t2dPMT.h"
#include "interface/converters/t2dSDT.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/sections/sections.h"

namespace {

using namespace vantor;

EITLayout standardLayout(const thrift::dvb_tables::EIT& record) {
  EITLayout layout;
  layout.standard = true;
  layout.firstDay = firstDay(record);
  return layout;
}

/// The sections of a table that has been converted.
template <typename Generate>
void repeat(benchmark::State& state, Generate generate) {
  for (auto _ : state) benchmark::DoNotOptimize(generate());
}

void generatePat(benchmark::State& state) {
  const PatTable table(t2dPAT(workload::makePat()));
  repeat(state, [&] { return generateSections(*table); });
}

void generateCat(benchmark::State& state) {
  const CatTable table(t2dCAT(workload::makeCat()));
  repeat(state, [&] { return generateSections(*table); });
}

void generateNit(benchmark::State& state) {
  const NitTable table(t2dNIT(workload::makeNit()));
  repeat(state, [&] { return generateSections(*table); });
}

void generatePmt(benchmark::State& state) {
  const PmtTable table(t2dPMT(workload::makePmt(1)));
  repeat(state, [&] { return generateSections(*table); });
}

void generateSdt(benchmark::State& state) {
  const SdtTable table(t2dSDT(workload::makeSdt(1)));
  repeat(state, [&] { return generateSections(*table, kSdtActualTableId, {}); });
}

void generatePresentFollowing(benchmark::State& state) {
  const auto record = workload::makePresentFollowing(1, 200);
  const EitTable table(t2dEIT(record));
  repeat(state, [&, layout = standardLayout(record)] { return generateSections(*table, layout); });
}

void generateSchedule(benchmark::State& state) {
  const auto record = workload::makeScheduleTable(1, 0);
  const EitTable table(t2dEIT(record));
  repeat(state, [&, layout = standardLayout(record)] { return generateSections(*table, layout); });
}

/// Cuts the sections of a day's schedule into packets.
void packetizeSchedule(benchmark::State& state) {
  const auto record = workload::makeScheduleTable(1, 0);
  const EitTable table(t2dEIT(record));
  const SectionChain sections = generateSections(*table, standardLayout(record));
  std::size_t size = 0;
  for (auto _ : state) {
    std::string packets;
    serviceMux::packetize(kEitPid, packets, sections.get());
    benchmark::DoNotOptimize(packets);
    size += packets.size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(size));
  state.SetItemsProcessed(static_cast<std::int64_t>(size / kPacketSize));  // packets
}

}  // namespace

BENCHMARK(generatePat);
BENCHMARK(generateCat);
BENCHMARK(generateNit);
BENCHMARK(generatePmt);
BENCHMARK(generateSdt);
BENCHMARK(generatePresentFollowing);
BENCHMARK(generateSchedule);
BENCHMARK(packetizeSchedule);
