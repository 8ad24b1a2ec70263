#include "programs/outputs/UdpSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <functional>

#include "programs/outputs/OutputError.h"
#include "tests/programs/outputs/sockets.h"

namespace vantor::outputs {
namespace {

using namespace testing;
using ::testing::HasSubstr;

/// How the socket of the only connected UDP socket of this process, found by its peer's port, is set.
int optionOf(const std::string& target, int level, int option) {
  const std::string port = target.substr(target.rfind(':') + 1);
  for (int descriptor = 3; descriptor < 256; ++descriptor) {
    SocketAddress peer{};
    socklen_t size = sizeof peer;
    if (getpeername(descriptor, &peer.generic, &size) != 0 || peer.generic.sa_family == AF_UNIX) continue;
    const in_port_t number = peer.generic.sa_family == AF_INET ? peer.ipv4.sin_port : peer.ipv6.sin6_port;
    if (std::to_string(ntohs(number)) != port) continue;
    int value = -1;
    size = sizeof value;
    EXPECT_EQ(getsockopt(descriptor, level, option, &value, &size), 0);
    return value;
  }
  ADD_FAILURE() << "no socket is connected to " << target;
  return -1;
}

std::string packets(std::size_t count, char fill) { return std::string(count * 188, fill); }

Output::Datagram datagramOf(const std::string& bytes) { return {bytes.data(), bytes.size()}; }

std::string errorOf(const std::string& target, const SocketOptions& options) {
  try {
    const UdpSink sink(destination(target), options, target);
  } catch (const OutputError& error) {
    return error.what();
  }
  return "none";
}

class UdpSinkOf : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(BothFamilies, UdpSinkOf, ::testing::Values(AF_INET, AF_INET6),
                         [](const auto& info) { return info.param == AF_INET ? "IPv4" : "IPv6"; });

TEST_P(UdpSinkOf, SendsAndCounts) {
  const Ear ear(GetParam());
  UdpSink sink(destination("udp://" + ear.target), {}, "it");
  EXPECT_TRUE(sink.send(datagramOf(packets(7, 'a'))));
  EXPECT_TRUE(sink.send(datagramOf(packets(1, 'b'))));
  EXPECT_EQ(ear.hear(), packets(7, 'a'));
  EXPECT_EQ(ear.hear(), packets(1, 'b'));
  EXPECT_EQ(ear.hear(), "");
  const OutputStatus status = sink.status();
  EXPECT_EQ(status.datagrams, 2U);
  EXPECT_EQ(status.bytes, 8U * 188);
  EXPECT_EQ(status.lost, 0U);
  EXPECT_EQ(status.refused, 0U);
  EXPECT_EQ(status.error, 0);
  EXPECT_FALSE(isUnused(status));
}

TEST_P(UdpSinkOf, SendsSeveralAtOnceInTheirOrder) {
  for (const std::string scheme : {"udp://", "rtp://"}) {
    const Ear ear(GetParam());
    UdpSink sink(destination(scheme + ear.target), {}, "it");
    const std::string first = packets(7, 'a');
    const std::string second = packets(2, 'b');
    const Output::Datagram datagrams[] = {datagramOf(first), datagramOf(second)};
    EXPECT_EQ(sink.sendAll(std::begin(datagrams), std::end(datagrams)), 2U);
    const std::size_t header = scheme == "rtp://" ? 12 : 0;
    const std::string heard[] = {ear.hear(), ear.hear()};
    ASSERT_EQ(heard[0].size(), header + first.size());
    ASSERT_EQ(heard[1].size(), header + second.size());
    EXPECT_EQ(heard[0].substr(header), first);
    EXPECT_EQ(heard[1].substr(header), second);
    EXPECT_EQ(sink.status().datagrams, 2U);
    EXPECT_EQ(sink.status().bytes, 9U * 188);
    if (header == 0) continue;
    const auto sequence = [](const std::string& rtp) {
      return static_cast<unsigned char>(rtp[2]) << 8 | static_cast<unsigned char>(rtp[3]);
    };
    EXPECT_EQ(sequence(heard[1]), (sequence(heard[0]) + 1) & 0xFFFF);
    EXPECT_TRUE(sink.send(datagrams[0]));
    EXPECT_EQ(sequence(ear.hear()), (sequence(heard[0]) + 2) & 0xFFFF) << "it goes on behind those sent at once";
  }
}

TEST_P(UdpSinkOf, PutsAnRtpHeaderBeforeThePackets) {
  const Ear ear(GetParam());
  UdpSink sink(destination("rtp://" + ear.target), {}, "it");
  EXPECT_TRUE(sink.send(datagramOf(packets(7, 'a'))));
  EXPECT_TRUE(sink.send(datagramOf(packets(1, 'b'))));
  const std::string first = ear.hear();
  const std::string second = ear.hear();
  ASSERT_EQ(first.size(), 12U + 7 * 188);
  EXPECT_EQ(first.substr(0, 2), "\x80\x21");
  EXPECT_EQ(first.substr(12), packets(7, 'a'));
  EXPECT_EQ(second.substr(12), packets(1, 'b'));
  EXPECT_EQ(second.substr(8, 4), first.substr(8, 4)) << "SSRC";
}

TEST_P(UdpSinkOf, SetsTtlAndDscp) {
  const bool isIpv4 = GetParam() == AF_INET;
  const int level = isIpv4 ? IPPROTO_IP : IPPROTO_IPV6;
  const Ear ear(GetParam());
  const UdpSink unicast(destination(ear.target), {"", 33, 46}, "it");
  EXPECT_EQ(optionOf(ear.target, level, isIpv4 ? IP_TTL : IPV6_UNICAST_HOPS), 33);
  EXPECT_EQ(optionOf(ear.target, level, isIpv4 ? IP_TOS : IPV6_TCLASS), 46 << 2);
  if (!isIpv4) return;  // groups of IPv6 have no way through the loopback interface
  const UdpSink multicast(destination("239.1.1.1:5011"), {"lo", 34, 10}, "it");
  EXPECT_EQ(optionOf(":5011", IPPROTO_IP, IP_MULTICAST_TTL), 34);
  EXPECT_EQ(optionOf(":5011", IPPROTO_IP, IP_TOS), 10 << 2);
}

TEST(UdpSink, LeavesTheSystemsTtlWhereNoneIsGiven) {
  const UdpSink multicast(destination("239.1.1.1:5012"), {"lo", 0, 0}, "it");
  EXPECT_EQ(optionOf(":5012", IPPROTO_IP, IP_MULTICAST_TTL), 1);
  EXPECT_EQ(optionOf(":5012", IPPROTO_IP, IP_TOS), 0);
}

TEST_P(UdpSinkOf, TakesItsInterfaceByNameAndByAddress) {
  for (const char* const interface : {"lo", "127.0.0.1", "::1"}) {
    const Ear ear(GetParam());
    UdpSink unicast(destination(ear.target), {interface, 0, 0}, "it");
    EXPECT_TRUE(unicast.send(datagramOf(packets(1, 'a'))));
    EXPECT_EQ(ear.hear(), packets(1, 'a'));
  }
}

TEST_P(UdpSinkOf, LosesNothingToAReceiverThatComesLater) {
  Ear ear(GetParam());
  UdpSink sink(destination(ear.target), {}, "it");
  ear.shut();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(sink.send(datagramOf(packets(1, 'a'))));
  const OutputStatus status = sink.status();
  EXPECT_EQ(status.datagrams, 10U);
  EXPECT_EQ(status.lost, 0U);
  EXPECT_EQ(status.error, 0);
  EXPECT_EQ(status.refused, 9U) << "the tenth answer is still to be told";
}

TEST_P(UdpSinkOf, LosesNothingOfSeveralToAReceiverThatComesLater) {
  Ear ear(GetParam());
  UdpSink sink(destination(ear.target), {}, "it");
  ear.shut();
  const std::string packet = packets(1, 'a');
  const std::vector<Output::Datagram> datagrams(10, datagramOf(packet));
  const Output::Datagram* next = datagrams.data();
  const Output::Datagram* const end = next + datagrams.size();
  while (next != end) {
    const std::size_t sent = sink.sendAll(next, end);
    ASSERT_GT(sent, 0U);
    next += sent;
  }
  EXPECT_EQ(sink.status().datagrams, 10U);
  EXPECT_EQ(sink.status().lost, 0U);
}

TEST(UdpSink, LooksNamesUp) {
  const Ear ear(AF_INET);
  UdpSink sink(destination("localhost" + ear.target.substr(ear.target.rfind(':'))), {"127.0.0.1", 0, 0}, "it");
  EXPECT_TRUE(sink.send(datagramOf(packets(1, 'a'))));
}

TEST(UdpSink, SaysWhyItCannotBeOpened) {
  EXPECT_EQ(errorOf("239.1.1.1:5004", {"nosuch0", 0, 0}), "there is no interface nosuch0");
  EXPECT_EQ(errorOf("[ff05::1]:5004", {"nosuch0", 0, 0}), "there is no interface nosuch0");
  EXPECT_EQ(errorOf("239.1.1.1:5004", {"192.0.2.77", 0, 0}), "no interface has the address 192.0.2.77");
  EXPECT_EQ(errorOf("[ff05::1]:5004", {"2001:db8::77", 0, 0}), "no interface has the address 2001:db8::77");
  EXPECT_EQ(errorOf("[fe80::1]:5004", {}), "a link-local address needs the interface that it is meant for");
  EXPECT_EQ(errorOf("[ff02::1]:5004", {}), "a link-local address needs the interface that it is meant for");
  EXPECT_NE(errorOf("no-such-host.invalid:5004", {}), "none");
}

/// Runs `body` in a network of its own, in which there is nothing but a loopback interface that is down.
void inOwnNetwork(const std::function<void(const std::function<void(bool)>&)>& body) {
  std::string skipped;
  std::thread([&] {
    if (unshare(CLONE_NEWNET) != 0) {
      skipped = "no network namespace can be made here";
      return;
    }
    body([](bool up) {
      const Descriptor control(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
      ifreq request{};
      std::string("lo").copy(request.ifr_name, IFNAMSIZ - 1);
      request.ifr_flags = up ? IFF_UP : 0;
      ASSERT_EQ(ioctl(control.get(), SIOCSIFFLAGS, &request), 0);
    });
  }).join();
  if (!skipped.empty()) GTEST_SKIP() << skipped;
}

TEST_P(UdpSinkOf, CannotBeOpenedWhereNoWayLeads) {
  inOwnNetwork([&](const auto&) {
    const std::string target = GetParam() == AF_INET ? "127.0.0.1:5004" : "[::1]:5004";
    const std::string error = errorOf(target, {});
    EXPECT_TRUE(error == "Network is unreachable" || error == "Cannot assign requested address") << error;
  });
}

TEST_P(UdpSinkOf, FailsWhileItsInterfaceIsDownAndIsMendedBehindThat) {
  inOwnNetwork([&](const auto& setUp) {
    setUp(true);
    // An IPv4 address stays in use while its interface is down, a way out through it does not.
    const Ear ear(GetParam(), GetParam() == AF_INET ? "239.1.1.1" : "");
    UdpSink sink(destination("rtp://" + ear.target), {"lo", 0, 0}, "it");
    EXPECT_TRUE(sink.send(datagramOf(packets(1, 'a'))));
    const std::string first = ear.hear();
    setUp(false);
    EXPECT_FALSE(sink.send(datagramOf(packets(1, 'b'))));
    sink.mend();  // which does not help yet
    const std::string packet = packets(1, 'c');
    const Output::Datagram datagrams[] = {datagramOf(packet), datagramOf(packet)};
    EXPECT_EQ(sink.sendAll(std::begin(datagrams), std::end(datagrams)), 0U);
    EXPECT_FALSE(sink.send(datagrams[0]));
    OutputStatus status = sink.status();
    EXPECT_EQ(status.datagrams, 1U);
    EXPECT_EQ(status.lost, 2U);
    EXPECT_NE(status.error, 0);
    EXPECT_EQ(status.lastError, status.error);
    setUp(true);
    sink.mend();
    EXPECT_TRUE(sink.send(datagramOf(packets(1, 'd'))));
    const std::string last = ear.hear();
    ASSERT_EQ(last.size(), 200U);
    EXPECT_EQ(last.substr(12), packets(1, 'd'));
    const auto sequence = [](const std::string& rtp) {
      return static_cast<unsigned char>(rtp[2]) << 8 | static_cast<unsigned char>(rtp[3]);
    };
    EXPECT_EQ(sequence(last), (sequence(first) + 3) & 0xFFFF) << "what was lost leaves a gap";
    status = sink.status();
    EXPECT_EQ(status.datagrams, 2U);
    EXPECT_EQ(status.error, 0);
    EXPECT_NE(status.lastError, 0);
  });
}

}  // namespace
}  // namespace vantor::outputs
