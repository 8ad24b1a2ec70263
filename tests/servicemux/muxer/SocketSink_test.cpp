#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include "servicemux/muxer/SocketSink.h"
#include "tests/interface/RecordedLog.h"
#include "tests/servicemux/doubles/SendCalls.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/muxer/ScriptedStream.h"

namespace {

using testing::ElementsAre;
using vantor::VBRmuxer;

constexpr int kSocket = 4711;

sockaddr_in makeDestination() {
  sockaddr_in destination{};
  destination.sin_family = AF_INET;
  destination.sin_port = htons(5004);
  destination.sin_addr.s_addr = inet_addr("192.0.2.7");
  return destination;
}

/// A muxer that is given a socket, with one packet to send.
class SocketSinkTest : public testing::Test {
 protected:
  void makeMuxer(int socket) {
    muxer = std::make_shared<VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
  }

  void sendOnePacket() {
    ScriptedStream stream(muxer, 1, time.start(), {}, 1);
    stream.linkToMuxer();
    time.beforeEachWait([] { WatchedThread::awaitSleep(); });
    time.at(milliseconds(20), [this] { muxer->muxerStop(); });
    const WatchedThread consumer([this] { muxer->consumerRun(); });
    muxer->muxerRun();
  }

  RecordedLog log;
  SimulatedTime time;
  sockaddr_in destination = makeDestination();
  std::shared_ptr<VBRmuxer> muxer;
};

}  // namespace

TEST_F(SocketSinkTest, SendsToTheDestinationThroughTheSocketGiven) {
  const SendCalls calls;
  makeMuxer(kSocket);
  sendOnePacket();
  ASSERT_EQ(calls.made().size(), 1U);
  const SendCalls::Call call = calls.made()[0];
  EXPECT_EQ(call.socket, kSocket);
  EXPECT_EQ(call.flags, 0);
  EXPECT_EQ(call.addressLength, 16U);
  EXPECT_EQ(call.destination.sin_family, AF_INET);
  EXPECT_EQ(call.destination.sin_port, htons(5004));
  EXPECT_EQ(call.destination.sin_addr.s_addr, inet_addr("192.0.2.7"));
  EXPECT_EQ(call.bytes, makePacket(1, 0, 0));
}

TEST_F(SocketSinkTest, ReadsTheDestinationWhenItSends) {
  const SendCalls calls;
  makeMuxer(kSocket);
  destination.sin_port = htons(5005);
  sendOnePacket();
  ASSERT_EQ(calls.made().size(), 1U);
  EXPECT_EQ(calls.made()[0].destination.sin_port, htons(5005));
}

TEST_F(SocketSinkTest, FailsOnWhatIsNoSocket) {
  makeMuxer(-1);
  sendOnePacket();
  EXPECT_THAT(takeLines(log), ElementsAre("3 Could not write 188 bytes to socket: -1 (9: Bad file descriptor)"));
  EXPECT_EQ(muxer->statistics().sendErrors, 1U);
}

TEST(SocketSinkOfSeveral, SendsDatagramsInOneCallInTheirOrder) {
  const int receiver = ::socket(AF_INET, SOCK_DGRAM, 0);
  const int sender = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(::bind(receiver, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(::getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &size), 0);

  vantor::SocketSink sink(sender, reinterpret_cast<sockaddr*>(&address));
  const std::string first(188, 'a');
  const std::string second(1316, 'b');
  const vantor::DatagramSink::Datagram datagrams[] = {{first.data(), first.size()}, {second.data(), second.size()}};
  EXPECT_EQ(sink.sendAll(std::begin(datagrams), std::end(datagrams)), 2U);
  for (const std::string& expected : {first, second}) {
    std::string received(2000, 0);
    received.resize(static_cast<std::size_t>(::recv(receiver, received.data(), received.size(), 0)));
    EXPECT_EQ(received, expected);
  }
  ::close(sender);
  ::close(receiver);
}

TEST(SocketSinkOfSeveral, TakesNoneWithoutASocket) {
  sockaddr_in address = makeDestination();
  vantor::SocketSink sink(-1, reinterpret_cast<sockaddr*>(&address));
  const vantor::DatagramSink::Datagram datagram{"x", 1};
  EXPECT_EQ(sink.sendAll(&datagram, &datagram + 1), 0U);
}
