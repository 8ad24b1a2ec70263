#include <benchmark/benchmark.h>

#include <chrono>

#include "bench/loopback.h"
#include "bench/schedules.h"
#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/converters/t2dEIT.h"
#include "interface/host.h"
#include "interface/host_default/log.h"
#include "interface/psi/pids.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/sections/sections.h"

namespace {

using namespace vantor;
using vantor::thrift::dvb_tables::EIT;
using Seconds = std::chrono::duration<double>;

template <typename Work>
Seconds timed(Work work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::steady_clock::now() - begin;
}

/// What cannot be saved when a schedule is put on air: making its sections and cutting them into packets.
void makePackets(dvbpsi_eit_t& table, const EIT& record) {
  EITLayout layout;
  layout.standard = true;
  layout.firstDay = firstDay(record);
  layout.starts.assign(record.events.size(), false);
  const SectionChain sections = generateSections(table, layout);
  std::string packets;
  serviceMux::packetize(kEitPid, packets, sections.get());
  benchmark::DoNotOptimize(packets);
}

/// Replaces each of so many schedules on air, one by one, and makes the packets of the same schedules alone; the
/// time is that of one replacement, and "ratio" what it costs compared to the packets.
void replaceSchedules(benchmark::State& state) {
  setLogThreshold(HOST_LOG_ERROR);
  const auto records = makeSchedules(static_cast<std::size_t>(state.range(0)));
  std::vector<EitTable> tables;
  std::vector<serviceMux::EITRecords> intakes;
  for (const EIT& record : records) {
    tables.emplace_back(t2dEIT(record));
    intakes.push_back({{0, {{0, record}}}});
  }
  serviceMux mux("bench", loopback(), "");
  for (const auto& intake : intakes) mux.newEITsch(intake);

  Seconds intake{0};
  Seconds packets{0};
  for (auto _ : state) {
    const Seconds whole = timed([&] {
      for (const auto& one : intakes) mux.newEITsch(one);
    });
    packets += timed([&] {
      for (std::size_t i = 0; i < records.size(); ++i) makePackets(*tables[i], records[i]);
    });
    intake += whole;
    state.SetIterationTime(whole.count() / static_cast<double>(records.size()));
  }
  state.counters["ratio"] = intake / packets;
}

}  // namespace

BENCHMARK(replaceSchedules)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMicrosecond);
