#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <stdexcept>

#include "interface/converters/t2dNIT.h"
#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/packets.h"
#include "tests/servicemux/sections.h"

namespace {

using vantor::kPacketSize;
using vantor::serviceMux;

/// A UDP socket of the loopback interface.
class Receiver {
 public:
  Receiver() : descriptor(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int buffer = 1 << 22;  // a busy machine must not make the kernel drop datagrams
    const timeval patience{60, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof buffer);
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    socklen_t length = sizeof address;
    if (::bind(descriptor, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) != 0)
      throw std::runtime_error("no loopback socket");
    port = ntohs(address.sin_port);
  }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  ~Receiver() { ::close(descriptor); }

  /// The packets of the next datagram.
  std::vector<std::string> receive() {
    char data[65536];
    const ssize_t size = ::recv(descriptor, data, sizeof data, 0);
    if (size < 0) throw std::runtime_error("no datagram in a minute");
    const auto bytes = static_cast<std::size_t>(size);
    EXPECT_GE(bytes, kPacketSize);
    EXPECT_LE(bytes, 7 * kPacketSize);
    EXPECT_EQ(bytes % kPacketSize, 0U);
    std::vector<std::string> packets;
    for (std::size_t offset = 0; offset + kPacketSize <= bytes; offset += kPacketSize)
      packets.emplace_back(data + offset, kPacketSize);
    return packets;
  }

  int port = 0;

 private:
  const int descriptor;
};

/// Finds a PID's packets with a counter that does not follow the one before. Null packets carry no counter.
class CounterCheck {
 public:
  void take(const std::string& packet) {
    const auto previous = counters.find(pidOf(packet));
    if (previous != counters.end()) {
      EXPECT_EQ(counterOf(packet), (previous->second + 1) & 0x0F) << "PID " << pidOf(packet);
    }
    counters[pidOf(packet)] = counterOf(packet);
  }

 private:
  std::map<unsigned short, int> counters;
};

std::vector<std::string> packetsOfNit(int version, std::size_t descriptors) {
  dvbpsi_nit_t* const nit = vantor::thrift::dvb_tables::t2dNIT(makeNit(version, descriptors));
  dvbpsi_t* const handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
  const Sections sections(dvbpsi_nit_sections_generate(handle, nit, 0x40));
  sections->b_private_indicator = true;  // reserved_future_use, which libdvbpsi clears
  dvbpsi_BuildPSISection(handle, sections.get());
  dvbpsi_delete(handle);
  dvbpsi_nit_delete(nit);
  std::string packets;
  serviceMux::packetize(0x10, packets, sections.get());
  std::vector<std::string> result;
  for (std::size_t offset = 0; offset < packets.size(); offset += kPacketSize)
    result.push_back(packets.substr(offset, kPacketSize));
  return result;
}

std::string withoutCounter(std::string packet) {
  packet[3] = vantor::kPayloadFlag;
  return packet;
}

}  // namespace

TEST(Loopback, DatagramsAreWholePacketsWithUnbrokenCounters) {
  Receiver receiver;
  serviceMux mux("mux", makeAddress("127.0.0.1", receiver.port), "");
  mux.setBitrate(20000);
  CounterCheck counters;
  std::map<unsigned short, int> packets;
  mux.newNULLPkts(1);
  for (int i = 0; i < 150; ++i) {
    if (i % 20 == 0) {
      mux.newPAT(makePat(i % 32, 250));
      mux.newNIT(makeNit(i % 32, 6));
    }
    if (i % 20 == 10) mux.newCAT(makeCat(i % 32));
    if (i % 60 == 30) mux.clearCAT();
    for (const auto& packet : receiver.receive()) {
      EXPECT_EQ(byteAt(packet, 0), vantor::kSyncByte);
      EXPECT_EQ(byteAt(packet, 3) & 0xF0, 0x10);
      counters.take(packet);
      ++packets[pidOf(packet)];
    }
  }
  for (const unsigned short pid : {0x0000, 0x0001, 0x0010, 0x1FFF}) EXPECT_GT(packets[pid], 0) << pid;
  EXPECT_EQ(mux.statistics().sendErrors, 0U);
}

TEST(Loopback, ReplacedTableStartsAtItsFirstPacketAndNeverMixes) {
  constexpr std::size_t kDescriptors = 10;
  constexpr int kVersions = 12;
  Receiver receiver;
  serviceMux mux("mux", makeAddress("127.0.0.1", receiver.port), "");
  mux.newNULLPkts(5);  // keeps the datagrams coming
  std::vector<std::vector<std::string>> tables;
  for (int version = 0; version < kVersions; ++version) {
    tables.push_back(packetsOfNit(version, kDescriptors));
    ASSERT_GT(tables.back().size(), 10U);
  }

  std::size_t onAir = 0;
  std::size_t next = 0;  // packet of the table on air
  CounterCheck counters;
  mux.newNIT(makeNit(0, kDescriptors));
  for (std::size_t set = 0; set < tables.size();) {
    for (const auto& packet : receiver.receive()) {
      if (pidOf(packet) != 0x10) continue;
      counters.take(packet);
      if (withoutCounter(packet) != withoutCounter(tables[onAir][next])) {
        ASSERT_LT(++onAir, tables.size());
        next = 0;
        ASSERT_EQ(withoutCounter(packet), withoutCounter(tables[onAir][next])) << "version " << onAir;
      }
      next = (next + 1) % tables[onAir].size();
    }
    // Each version is given up after a different number of its packets.
    if (onAir == set && next > set % 5) {
      if (++set < tables.size()) mux.newNIT(makeNit(static_cast<int>(set), kDescriptors));
    }
  }
}
