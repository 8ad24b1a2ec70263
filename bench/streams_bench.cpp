#include <benchmark/benchmark.h>
#include <netinet/in.h>

#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"

namespace {

using namespace vantor;

constexpr unsigned int kPeriod = 200;   // ms
constexpr unsigned int kRate = 100000;  // bit/s
constexpr std::int64_t kQueuedPackets = 10000;

std::shared_ptr<VBRmuxer> makeMuxer() {
  static int socket = -1;
  static sockaddr_in destination{};
  return std::make_shared<VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
}

std::string makePackets(std::int64_t count) {
  std::string packets;
  while (count-- > 0) appendNullPacket(packets);
  return packets;
}

/// Asks a stream for each of its packets at the moment that it is due.
void takeDuePackets(benchmark::State& state, muxed_stream& stream) {
  signed char packet[kPacketSize];
  auto now = boost::chrono::steady_clock::now();
  for (auto _ : state) {
    auto next = now + boost::chrono::hours(1);
    benchmark::DoNotOptimize(stream.get_packet(packet, now, next));
    now = next;
  }
}

/// A table of so many packets.
void simpleTable(benchmark::State& state) {
  const auto muxer = makeMuxer();
  SimpleTable table(muxer, kPatPid, kPeriod);
  std::string packets = makePackets(state.range(0));
  table.new_packetized_table(packets);
  takeDuePackets(state, table);
}

/// What a stream costs at each pass in which it is not due.
void simpleTableNotDue(benchmark::State& state) {
  const auto muxer = makeMuxer();
  SimpleTable table(muxer, kPatPid, kPeriod);
  std::string packets = makePackets(1);
  table.new_packetized_table(packets);
  signed char packet[kPacketSize];
  const auto before = boost::chrono::steady_clock::now() - boost::chrono::hours(1);
  for (auto _ : state) {
    auto next = before + boost::chrono::hours(2);
    benchmark::DoNotOptimize(table.get_packet(packet, before, next));
  }
}

/// A queue of items of so many packets each.
void sectionQueue(benchmark::State& state) {
  const auto muxer = makeMuxer();
  SectionQueue queue(muxer, kTimePid, kRate);
  const std::string item = makePackets(state.range(0));
  for (std::int64_t queued = 0; queued < kQueuedPackets; queued += state.range(0)) queue.queue_section(item, 0);
  takeDuePackets(state, queue);
}

}  // namespace

BENCHMARK(simpleTable)->Arg(1)->Arg(10);
BENCHMARK(simpleTableNotDue);
BENCHMARK(sectionQueue)->Arg(1)->Arg(10)->Iterations(kQueuedPackets);
