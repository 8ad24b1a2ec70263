#include <benchmark/benchmark.h>
#include <netinet/in.h>

#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/TableCarrousel.h"

namespace {

using namespace vantor;

constexpr unsigned int kPeriod = 30000;      // ms, as EIT schedules have
constexpr std::size_t kPacketsPerTable = 4;  // one section

std::string makeSubtable() {
  std::string packet(kPacketSize, '\0');
  packet[0] = static_cast<char>(kSyncByte);
  packet[3] = static_cast<char>(kPayloadFlag);
  std::string packets;
  for (std::size_t i = 0; i < kPacketsPerTable; ++i) packets += packet;
  packets[1] = static_cast<char>(kPayloadUnitStart);
  return packets;
}

/// One packet of a carousel with so many subtables, each asked for when its slot comes, on average over a full
/// cycle of them all.
void getPacket(benchmark::State& state) {
  int socket = -1;
  sockaddr_in destination{};
  const auto muxer = std::make_shared<VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
  TableCarrousel carrousel(muxer, kEitPid, muxed_stream::kNoCC);
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    std::string packets = makeSubtable();
    benchmark::DoNotOptimize(carrousel.new_packetized_subtable(packets, kPeriod, 1));
  }
  signed char packet[kPacketSize];
  auto now = boost::chrono::steady_clock::now();
  for (auto _ : state) {
    auto next = now + boost::chrono::hours(1);
    benchmark::DoNotOptimize(carrousel.get_packet(packet, now, next));
    now = next;
  }
}

void oneCycle(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t subtables : {10, 100, 1000, 10000}) benchmark->Arg(subtables);
  benchmark->Iterations(10000 * kPacketsPerTable);
}

}  // namespace

BENCHMARK(getPacket)->Apply(oneCycle);
