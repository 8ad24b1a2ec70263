/// The least that sending packets at their time can cost: sleeps to each packet's slot on an absolute clock, or
/// only to that of every seventh, and sends a datagram with every seventh, nothing else. Tells what that took, as
/// JSON.
///
///   wire_floor --port 5004 --rate 133.3 --per-datagram --settle 1 --measure 10

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <ctime>
#include <iostream>
#include <thread>

#include "bench/wire/process.h"

namespace {

constexpr int kPacketsPerDatagram = 7;
constexpr std::size_t kPacketSize = 188;
constexpr int kPriority = 98;  // as the library's producer has
constexpr std::int64_t kSecond = 1000000000;

std::atomic<bool> stop{false};
std::atomic<std::uint64_t> packets{0};

void sendDatagrams(int socket, const sockaddr_in& destination, double rate, int packetsPerSleep) {
  std::string datagram;
  for (int i = 0; i < kPacketsPerDatagram; ++i)
    datagram += std::string("\x47\x1F\xFF\x10", 4) + std::string(kPacketSize - 4, '\xFF');
  const auto* const to = reinterpret_cast<const sockaddr*>(&destination);
  timespec start{};
  clock_gettime(CLOCK_MONOTONIC, &start);
  const std::int64_t first = start.tv_sec * kSecond + start.tv_nsec;
  const auto step = static_cast<std::uint64_t>(packetsPerSleep);
  for (std::uint64_t number = step; !stop.load(std::memory_order_relaxed); number += step) {
    const auto due = first + static_cast<std::int64_t>(static_cast<double>(number) * 1e9 / rate);
    const timespec slot{due / kSecond, due % kSecond};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &slot, nullptr);
    if (number % kPacketsPerDatagram == 0) ::sendto(socket, datagram.data(), datagram.size(), 0, to, sizeof *to);
    packets.store(number, std::memory_order_relaxed);
  }
}

/// False where the machine refuses it.
bool raisePriority(std::thread& thread) {
  sched_param parameters{};
  parameters.sched_priority = kPriority;
  return pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &parameters) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  dieWithParent();
  int port = 0;
  double rate = 0;
  double settle = 1;
  double measure = 10;
  bool perDatagram = false;
  CLI::App app("Sends datagrams of null packets at a steady rate and tells what that took");
  app.add_option("--port", port, "of 127.0.0.1")->required();
  app.add_option("--rate", rate, "packets per second")->required()->check(CLI::PositiveNumber);
  app.add_flag("--per-datagram", perDatagram, "sleep once for each datagram, not for each packet");
  app.add_option("--settle", settle, "seconds before measuring");
  app.add_option("--measure", measure, "seconds of measuring");
  CLI11_PARSE(app, argc, argv);

  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in destination{};
  destination.sin_family = AF_INET;
  destination.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  destination.sin_port = htons(static_cast<std::uint16_t>(port));
  std::thread sender(sendDatagrams, socket, destination, rate, perDatagram ? kPacketsPerDatagram : 1);
  const bool realtime = raisePriority(sender);
  std::this_thread::sleep_for(std::chrono::duration<double>(settle));
  const std::uint64_t before = packets.load();
  nlohmann::json result = toJson(observe(measure));
  result["statistics"] = {{"packets", packets.load() - before}};
  result["resident"] = residentBytes();
  result["realtime"] = realtime;
  stop.store(true);
  sender.join();
  close(socket);
  std::cout << result << '\n';
}
