#include <benchmark/benchmark.h>
#include <netinet/in.h>

#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "servicemux/muxer/StandardsPace.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/TableCarrousel.h"

namespace {

using namespace vantor;

constexpr unsigned int kPeriod = 30000;      // ms, as EIT schedules have
constexpr std::size_t kPacketsPerTable = 4;  // one section
constexpr std::size_t kPacketsPerDatagram = 7;
constexpr std::size_t kCycle = 10000 * kPacketsPerTable;  // of the longest carousel, in packets

std::string bytes(std::initializer_list<unsigned int> values) {
  std::string text;
  for (const unsigned int value : values) text += static_cast<char>(value);
  return text;
}

/// An EIT schedule subtable of one section; nobody looks at what is in it.
std::string makeSubtable(unsigned int serviceId) {
  constexpr std::size_t kPayload = kPacketSize - 4;
  constexpr std::size_t kLength = kPacketsPerTable * kPayload - 1 - 3;  // behind pointer_field and section_length
  std::string section =
      bytes({0, 0x50, 0xF0 | kLength >> 8, kLength & 0xFF, serviceId >> 8, serviceId & 0xFF, 0xC1});
  section.resize(kPacketsPerTable * kPayload);
  std::string packets;
  for (std::size_t i = 0; i < kPacketsPerTable; ++i) {
    const unsigned int start = i == 0 ? kPayloadUnitStart : 0U;
    packets += bytes({kSyncByte, start | kEitPid >> 8, kEitPid & 0xFF, kPayloadFlag});
    packets += section.substr(i * kPayload, kPayload);
  }
  return packets;
}

/// A muxer with a carousel of so many subtables, not running.
struct FilledCarrousel {
  explicit FilledCarrousel(std::int64_t subtables) {
    for (std::int64_t i = 0; i < subtables; ++i) {
      std::string packets = makeSubtable(static_cast<unsigned int>(i));
      benchmark::DoNotOptimize(carrousel.new_packetized_subtable(packets, kPeriod, 1));
    }
  }

  int socket = -1;
  sockaddr_in destination{};
  const std::shared_ptr<VBRmuxer> muxer =
      std::make_shared<VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
  TableCarrousel carrousel{muxer, kEitPid, muxed_stream::kNoCC};
};

/// One packet of a carousel with so many subtables, each asked for when its slot comes, on average over a full
/// cycle of them all.
void getPacket(benchmark::State& state) {
  FilledCarrousel filled(state.range(0));
  signed char packet[kPacketSize];
  auto now = boost::chrono::steady_clock::now();
  for (auto _ : state) {
    auto next = now + boost::chrono::hours(1);
    benchmark::DoNotOptimize(filled.carrousel.get_packet(packet, now, next));
    now = next;
  }
}

void oneCycle(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t subtables : {10, 100, 1000, 10000}) benchmark->Arg(subtables);
  benchmark->Iterations(kCycle);
}

/// Lets the time pass to the next datagram, and returns the number of its packets.
std::size_t chooseNext(StandardsPace& pace, StandardsPace::time_point& now, signed char* packets) {
  now = std::max(now, pace.nextDeparture());
  return pace.choose(now, {}, packets);
}

/// The datagrams of the same with the timing of the standards, each chosen when it is to leave, on average over a
/// full cycle; and what each section costs of that, its copying included.
void chooseDatagram(benchmark::State& state) {
  constexpr unsigned int kCeiling = 100000;  // kbit/s
  FilledCarrousel filled(state.range(0));
  auto now = boost::chrono::steady_clock::now();
  StandardsPace pace;
  pace.setCeiling(kCeiling, now);
  pace.setDatagrams(boost::chrono::milliseconds(20), kPacketsPerDatagram, now);
  for (PacedTable* const table : filled.carrousel.pacedTables()) pace.put(*table, filled.carrousel, now);
  signed char packets[kPacketsPerDatagram * kPacketSize];
  std::size_t chosen = 0;
  while (chosen < kCycle) chosen += chooseNext(pace, now, packets);  // until all are on air
  chosen = 0;
  for (auto _ : state) chosen += chooseNext(pace, now, packets);
  state.counters["section"] = benchmark::Counter(static_cast<double>(chosen) / kPacketsPerTable,
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(getPacket)->Apply(oneCycle);
BENCHMARK(chooseDatagram)->Apply(oneCycle);
