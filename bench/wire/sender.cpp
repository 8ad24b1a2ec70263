/// Puts a workload on air, lets it run and tells what that took, as JSON.
///
///   wire_sender --ports 5004 --timing standards --multiplex --null-packets --bitrate 10000 --settle 2 --measure 20
///
/// makes an output to 127.0.0.1 for each port, all with the same tables. What is reported was used in the time of
/// measuring alone, by all outputs together.

#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <memory>
#include <thread>

#include "bench/tables.h"
#include "bench/wire/process.h"
#include "bench/wire/timing.h"
#include "interface/host.h"
#include "interface/host_default/log.h"
#include "servicemux/front/serviceMux.h"

namespace {

using Outputs = std::vector<std::unique_ptr<vantor::serviceMux>>;

struct Options {
  std::vector<int> ports;
  unsigned int bitrate = 1024;
  bool multiplex = false;
  bool nullPackets = false;
  int subtables = 0;
  int guide = 0;
  vantor::TimingProfile timing = vantor::TimingProfile::Classic;
  double settle = 1;
  double measure = 10;
};

void putMultiplexOnAir(vantor::serviceMux& mux) {
  using namespace workload;
  mux.newPAT(makePat());
  mux.newCAT(makeCat());
  mux.newNIT(makeNit());
  mux.newSDTActual(makeSdt(1));
  for (int stream = 0; stream < kOtherStreams; ++stream) mux.newSDTOthers(makeSdt(2 + stream));
  vantor::serviceMux::EITRecords presentFollowing;
  vantor::serviceMux::EITRecords schedule;
  for (int service = 1; service <= kServices; ++service) {
    mux.newPMT(makePmt(service), static_cast<short>(kFirstPmtPid + service));
    presentFollowing[0][service] = makePresentFollowing(service, 200);
    for (int table = 0; table < kScheduleTables; ++table)
      schedule[service][table] = makeScheduleTable(service, table);
  }
  mux.newEITpf(presentFollowing);
  mux.newEITsch(schedule);
  mux.setLocalTimeOffsetTable(makeTimeOffsets());
}

/// One after the other, so that the records themselves leave no trace in the memory that is measured.
void putSubtablesOnAir(vantor::serviceMux& mux, int subtables) {
  for (int service = 1; service <= subtables; ++service)
    mux.newEITpf({{0, {{0, workload::makePresentFollowing(service, 100)}}}});
}

/// The guides of so many services of another stream, one after the other for the same reason.
void putGuideOnAir(vantor::serviceMux& mux, int services) {
  using namespace workload;
  for (int service = 1; service <= services; ++service) {
    mux.newEITsch({{0, {{0, makeGuideTable(service, 0)}, {1, makeGuideTable(service, 1)}}}});
    mux.newEITpf({{0, {{0, makeGuidePresentFollowing(service)}}}});
  }
}

Outputs makeOutputs(const Options& options) {
  Outputs outputs;
  for (const int port : options.ports) {
    vantor::thrift::general::OutputAddress address;
    address.ip = "127.0.0.1";
    address.port = port;
    outputs.push_back(std::make_unique<vantor::serviceMux>("bench", address, ""));
    outputs.back()->setBitrate(options.bitrate);
    outputs.back()->setTimingProfile(options.timing);
  }
  return outputs;
}

void putOnAir(const Options& options, const Outputs& outputs) {
  for (const auto& mux : outputs) {
    if (options.multiplex) putMultiplexOnAir(*mux);
    if (options.nullPackets) mux->newNULLPkts(0);
    putSubtablesOnAir(*mux, options.subtables);
    putGuideOnAir(*mux, options.guide);
  }
}

vantor::MuxerStatistics sumOf(const Outputs& outputs) {
  vantor::MuxerStatistics sum;
  for (const auto& mux : outputs) {
    const vantor::MuxerStatistics one = mux->statistics();
    sum.packets += one.packets;
    sum.datagrams += one.datagrams;
    sum.bytesSent += one.bytesSent;
    sum.sendErrors += one.sendErrors;
    sum.ringFullSlots += one.ringFullSlots;
    sum.packetsOverrun += one.packetsOverrun;
  }
  return sum;
}

nlohmann::json toJson(const vantor::MuxerStatistics& before, const vantor::MuxerStatistics& after) {
  return {{"packets", after.packets - before.packets},
          {"datagrams", after.datagrams - before.datagrams},
          {"bytes", after.bytesSent - before.bytesSent},
          {"send_errors", after.sendErrors - before.sendErrors},
          {"ring_full_slots", after.ringFullSlots - before.ringFullSlots},
          {"packets_overrun", after.packetsOverrun - before.packetsOverrun}};
}

/// The bytes of all sections that are on air of all outputs.
std::int64_t sectionBytes(const Outputs& outputs) {
  std::int64_t bytes = 0;
  for (const auto& mux : outputs)
    for (const auto& table : mux->tablesOnAir()) bytes += table.bytes;
  return bytes;
}

nlohmann::json run(const Options& options) {
  const std::int64_t residentBefore = residentBytes();
  const Outputs outputs = makeOutputs(options);
  const std::int64_t heapEmpty = heapBytes();
  const std::int64_t residentEmpty = residentBytes();
  putOnAir(options, outputs);
  const std::int64_t heapTables = heapBytes() - heapEmpty;
  std::this_thread::sleep_for(std::chrono::duration<double>(options.settle));
  const vantor::MuxerStatistics before = sumOf(outputs);
  nlohmann::json result = toJson(observe(options.measure));
  const vantor::MuxerStatistics after = sumOf(outputs);
  result["statistics"] = toJson(before, after);
  result["lost_in_all"] = after.packetsOverrun;
  result["section_bytes"] = sectionBytes(outputs);
  result["heap_of_tables"] = heapTables;
  result["resident_before"] = residentBefore;
  result["resident_empty"] = residentEmpty;
  result["resident"] = residentBytes();
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  dieWithParent();
  Options options;
  CLI::App app("Puts a workload on air and tells what that took");
  app.add_option("--ports", options.ports, "of 127.0.0.1, one for each output")->required();
  app.add_option("--bitrate", options.bitrate, "the ceiling in kbit/s");
  app.add_flag("--multiplex", options.multiplex, "the tables of a multiplex of ten services");
  app.add_flag("--null-packets", options.nullPackets, "fill up to the ceiling");
  app.add_option("--subtables", options.subtables, "so many EIT present/following more");
  app.add_option("--guide", options.guide,
                 "present/following and seven days of so many services of another stream");
  addTiming(app, options.timing);
  app.add_option("--settle", options.settle, "seconds before measuring");
  app.add_option("--measure", options.measure, "seconds of measuring");
  CLI11_PARSE(app, argc, argv);
  vantor::setLogThreshold(HOST_LOG_ERROR);
  std::cout << run(options) << '\n';
}
