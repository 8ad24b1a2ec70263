#include "programs/inputs/SocketPackets.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "programs/inputs/ByteSource.h"
#include "programs/inputs/open.h"
#include "programs/tables/json/InputError.h"
#include "tests/programs/inputs/networkCaptures.h"
#include "tests/programs/inputs/readPackets.h"

namespace vantor::inputs {
namespace {

using namespace vantor::testing;
using ::testing::HasSubstr;

std::string liveErrorOf(const std::string& input, const InputOptions& options = {}) {
  try {
    open(input, options);
  } catch (const tables::InputError& error) {
    return error.what();
  }
  return "accepted";
}

/// A port of this machine that nobody has.
std::string freePort(int family) {
  const int fd = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_storage address{};
  address.ss_family = static_cast<sa_family_t>(family);
  socklen_t size = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), size), 0);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  close(fd);
  return std::to_string(ntohs(reinterpret_cast<sockaddr_in6&>(address).sin6_port));
}

void send(const std::string& input, const std::string& payload) {
  const LiveAddress to = parseLiveAddress(input);
  const int fd = ::socket(to.family(), SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sendto(fd, payload.data(), payload.size(), 0, reinterpret_cast<const sockaddr*>(&to.local), to.size());
  close(fd);
}

Deadline soon() { return std::chrono::steady_clock::now() + std::chrono::seconds(30); }

class Live : public ::testing::TestWithParam<std::tuple<int, std::string, bool>> {};

INSTANTIATE_TEST_SUITE_P(Inputs, Live,
                         ::testing::Combine(::testing::Values(AF_INET, AF_INET6), ::testing::Values("udp", "rtp"),
                                            ::testing::Bool()));

TEST_P(Live, GivesPacketsWithTheTimesOfTheirArrival) {
  const auto& [family, scheme, inRtp] = GetParam();
  const std::string input = scheme + "://" + (family == AF_INET6 ? "[::1]:" : "127.0.0.1:") + freePort(family);
  const auto source = open(input);
  EXPECT_TRUE(source->isLive());
  EXPECT_TRUE(isLive(input));
  send(input, inRtp ? rtp(1, markedPackets(3)) : markedPackets(3));
  Packet packet;
  for (unsigned mark = 0; mark < 3; ++mark) {
    ASSERT_EQ(source->read(packet, soon()), Read::kPacket);
    EXPECT_EQ(markOf(packet), mark);
    ASSERT_TRUE(packet.time.has_value());
    EXPECT_GT(*packet.time, 1'600'000'000'000'000'000);
  }
  EXPECT_EQ(source->read(packet, std::chrono::steady_clock::now()), Read::kTimeout);
  EXPECT_EQ(source->counts().datagrams, 1U);
}

TEST(LiveInput, OfAllAddressesTakesBothKinds) {
  const std::string port = freePort(AF_INET6);
  const auto source = open("udp://:" + port);
  send("udp://127.0.0.1:" + port, markedPackets(1, 4));
  send("udp://[::1]:" + port, markedPackets(1, 6));
  EXPECT_EQ(source->counts().datagrams, 0U);
  Packet packet;
  ASSERT_EQ(source->read(packet, soon()), Read::kPacket);
  EXPECT_EQ(markOf(packet), 4U);
  ASSERT_EQ(source->read(packet, soon()), Read::kPacket);
  EXPECT_EQ(markOf(packet), 6U);
}

TEST(LiveInput, IsGivenUpForTheDescriptorToWakeBy) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  InputOptions options;
  options.wakeFd = ends[0];
  const auto source = open("udp://127.0.0.1:" + freePort(AF_INET), options);
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  Packet packet;
  EXPECT_EQ(source->read(packet, Deadline::max()), Read::kTimeout);
  close(ends[0]);
  close(ends[1]);
}

TEST(LiveInput, HasAnAddressAndAPort) {
  for (const std::string input :
       {"udp://", "udp://1.2.3.4", "udp://1.2.3.4:", "udp://1.2.3.4:0", "udp://1.2.3.4:65536", "udp://host:5",
        "udp://::1:5", "rtp://[1.2.3.4]:5", "udp://1.2.3.4@5.6.7.8:5"})
    EXPECT_EQ(liveErrorOf(input),
              input + ": is no address and port like udp://239.1.1.1:5004 or udp://[ff15::1]:5004");
}

TEST(LiveInput, JoinsAGroupOnAnInterfaceThatIsThere) {
  InputOptions options;
  options.interface = "nowhere0";
  const std::string input = "udp://239.1.1.9:" + freePort(AF_INET);
  EXPECT_EQ(liveErrorOf(input, options), input + ": there is no interface nowhere0");
  options.interface = "lo";
  EXPECT_EQ(liveErrorOf(input, options), "accepted");
  options.interface = "127.0.0.1";
  EXPECT_EQ(liveErrorOf(input, options), "accepted");
  EXPECT_EQ(liveErrorOf("udp://[ff15::9]:" + freePort(AF_INET6), options), "accepted");
  options.interface = "::1";
  EXPECT_EQ(liveErrorOf("udp://[ff15::9]:" + freePort(AF_INET6), options), "accepted");
  EXPECT_EQ(liveErrorOf("udp://@239.1.1.9:" + freePort(AF_INET), options), "accepted") << "as some write a group";
}

/// Sends to a group through the loopback interface, from this address of it.
void sendFrom(const char* source, const std::string& group, const std::string& payload) {
  const LiveAddress to = parseLiveAddress(group);
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in from{};
  from.sin_family = AF_INET;
  inet_pton(AF_INET, source, &from.sin_addr);
  EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&from), sizeof from), 0);
  EXPECT_EQ(setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &from.sin_addr, sizeof from.sin_addr), 0);
  EXPECT_EQ(sendto(fd, payload.data(), payload.size(), 0, reinterpret_cast<const sockaddr*>(&to.local), to.size()),
            static_cast<ssize_t>(payload.size()));
  close(fd);
}

TEST(LiveInput, OfAGroupIsWhatWasJoinedAndFromTheSenderThatWasNamed) {
  InputOptions options;
  options.interface = "lo";
  const std::string port = ":" + freePort(AF_INET);
  const auto all = open("udp://239.1.1.9" + port, options);
  const auto one = open("udp://127.0.0.2@239.1.1.9" + port, options);
  const auto other = open("udp://239.1.1.10" + port, options);
  sendFrom("127.0.0.1", "udp://239.1.1.9" + port, markedPackets(1, 1));
  sendFrom("127.0.0.2", "udp://239.1.1.9" + port, markedPackets(1, 2));
  Packet packet;
  for (const unsigned mark : {1U, 2U}) {
    ASSERT_EQ(all->read(packet, soon()), Read::kPacket);
    EXPECT_EQ(markOf(packet), mark);
  }
  ASSERT_EQ(one->read(packet, soon()), Read::kPacket);
  EXPECT_EQ(markOf(packet), 2U);
  EXPECT_EQ(other->read(packet, std::chrono::steady_clock::now()), Read::kTimeout);
}

TEST(LiveInput, NamesAnAddressThatIsNotOfThisMachine) {
  EXPECT_EQ(liveErrorOf("udp://192.0.2.1:5004"), "udp://192.0.2.1:5004: Cannot assign requested address");
}

}  // namespace
}  // namespace vantor::inputs
