#include "programs/outputs/Outputs.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "programs/outputs/OutputError.h"
#include "tests/programs/outputs/sockets.h"
#include "tests/servicemux/doubles/Allocations.h"

namespace vantor::outputs {
namespace {

using namespace testing;

std::string filled(char fill) { return std::string(188, fill); }

/// Ends what the packets go to, as a socket that is shut for sending: every datagram fails from then on, with
/// EPIPE.
void breakConnectionTo(const std::string& target) {
  const std::string port = target.substr(target.rfind(':') + 1);
  for (int descriptor = 3; descriptor < 256; ++descriptor) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0 || peer.sin_family != AF_INET)
      continue;
    if (std::to_string(ntohs(peer.sin_port)) == port) shutdown(descriptor, SHUT_WR);
  }
}

/// Hands datagrams over as the library does: several at once, and the first that is not taken by itself.
struct Handed {
  std::size_t taken = 0;
  std::size_t lost = 0;
};
Handed hand(Outputs& outputs, const std::vector<std::string>& packets) {
  std::vector<DatagramSink::Datagram> datagrams;
  for (const std::string& bytes : packets) datagrams.push_back({bytes.data(), bytes.size()});
  Handed handed;
  const DatagramSink::Datagram* next = datagrams.data();
  const DatagramSink::Datagram* const end = next + datagrams.size();
  while (next != end) {
    const std::size_t taken = outputs.sendAll(next, end);
    handed.taken += taken;
    next += taken;
    if (next == end) break;
    errno = EIO;
    if (outputs.send(next->bytes, next->size) == static_cast<ssize_t>(next->size)) {
      ++handed.taken;
    } else {
      EXPECT_EQ(errno, 0) << "it is told by the outputs";
      ++handed.lost;
    }
    ++next;
  }
  return handed;
}

TEST(Outputs, HandsEachDatagramToEveryDestination) {
  const Ear plain(AF_INET);
  const Ear rtp(AF_INET6);
  Outputs outputs({destination(plain.target), destination("rtp://" + rtp.target)}, {});
  const std::string bytes = filled('a');
  EXPECT_EQ(outputs.send(bytes.data(), bytes.size()), 188);
  EXPECT_EQ(plain.hear(), bytes);
  EXPECT_EQ(rtp.hear().substr(12), bytes);
  ASSERT_EQ(outputs.all().size(), 2U);
  for (const auto& output : outputs.all()) {
    EXPECT_EQ(output->status().datagrams, 1U);
    EXPECT_EQ(output->status().bytes, 188U);
  }
  EXPECT_EQ(outputs.all()[0]->name(), plain.target);
  EXPECT_EQ(outputs.all()[1]->name(), "rtp://" + rtp.target);
}

TEST(Outputs, HandSeveralDatagramsToEveryDestinationOnceAndInOrder) {
  const Ear first(AF_INET);
  const Ear second(AF_INET6);
  const std::string path = ::testing::TempDir() + "outputs-" + std::to_string(getpid()) + ".ts";
  Outputs outputs({destination(first.target), destination("file:" + path), destination(second.target)}, {});
  std::vector<std::string> packets;
  std::string all;
  for (char fill = '0'; fill < '0' + 70; ++fill) all += packets.emplace_back(filled(fill));
  const Handed handed = hand(outputs, packets);
  EXPECT_EQ(handed.taken, 70U);
  EXPECT_EQ(handed.lost, 0U);
  outputs.finish();
  for (const Ear* ear : {&first, &second}) {
    std::string heard;
    for (std::string datagram; !(datagram = ear->hear()).empty();) heard += datagram;
    EXPECT_EQ(heard, all);
  }
  std::string written(all.size() + 1, '\0');
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  written.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(file.get(), written.data(), written.size()))));
  EXPECT_EQ(written, all);
  unlink(path.c_str());
}

TEST(Outputs, AllocateNothingOnThePacketPath) {
  const Ear ear(AF_INET);
  const std::string path = ::testing::TempDir() + "outputs-" + std::to_string(getpid()) + ".ts";
  Outputs outputs({destination(ear.target), destination("rtp://" + ear.target), destination("file:" + path)}, {});
  const std::string bytes = filled('a');
  const DatagramSink::Datagram datagrams[] = {{bytes.data(), bytes.size()}, {bytes.data(), bytes.size()}};
  static_cast<void>(outputs.send(bytes.data(), bytes.size()));
  struct stat status {};
  // A thread that begins allocates; this one has begun when it has written.
  while (stat(path.c_str(), &status) != 0 || status.st_size == 0) std::this_thread::yield();
  const std::uint64_t before = countAllocations();
  for (int i = 0; i < 100; ++i) {
    static_cast<void>(outputs.send(bytes.data(), bytes.size()));
    static_cast<void>(outputs.sendAll(std::begin(datagrams), std::end(datagrams)));
  }
  EXPECT_EQ(countAllocations(), before);
  outputs.finish();
  unlink(path.c_str());
}

TEST(Outputs, LoseADatagramOnlyWhenNoDestinationTakesIt) {
  const Ear first(AF_INET);
  const Ear second(AF_INET);
  Outputs outputs({destination(first.target), destination(second.target)}, {});
  const std::vector<std::string> packets{filled('a'), filled('b'), filled('c')};
  breakConnectionTo(first.target);
  Handed handed = hand(outputs, packets);
  EXPECT_EQ(handed.taken, 3U);
  EXPECT_EQ(outputs.all()[0]->status().lost, 3U);
  EXPECT_EQ(outputs.all()[0]->status().datagrams, 0U);
  EXPECT_TRUE(isUnused(outputs.all()[0]->status()));
  EXPECT_EQ(outputs.all()[1]->status().datagrams, 3U);
  for (const std::string& bytes : packets) EXPECT_EQ(second.hear(), bytes);
  EXPECT_EQ(second.hear(), "");
  breakConnectionTo(second.target);
  handed = hand(outputs, packets);
  EXPECT_EQ(handed.taken, 0U);
  EXPECT_EQ(handed.lost, 3U);
  EXPECT_EQ(outputs.all()[0]->status().lost, 6U);
  EXPECT_EQ(outputs.all()[1]->status().lost, 3U);
}

TEST(Outputs, LoseNothingThatTheFirstAloneTakes) {
  const Ear first(AF_INET);
  const Ear second(AF_INET);
  Outputs outputs({destination(first.target), destination(second.target)}, {});
  breakConnectionTo(second.target);
  const std::string bytes = filled('a');
  EXPECT_EQ(outputs.send(bytes.data(), bytes.size()), 188);
}

TEST(OutputStatus, IsUnusedWhenNothingWentThereThatShouldHave) {
  OutputStatus status;
  EXPECT_FALSE(isUnused(status)) << "there was nothing to send";
  for (const auto spoil : {+[](OutputStatus& it) { it.lost = 1; }, +[](OutputStatus& it) { it.error = EPIPE; },
                           +[](OutputStatus& it) { it.isOver = true; }}) {
    status = {};
    spoil(status);
    EXPECT_TRUE(isUnused(status));
    status.datagrams = 1;
    EXPECT_FALSE(isUnused(status));
  }
}

TEST(Outputs, MendWhatFailsByThemselves) {
  const Ear ear(AF_INET);
  Outputs outputs({destination(ear.target)}, {});
  breakConnectionTo(ear.target);
  const std::string bytes = filled('a');
  EXPECT_EQ(outputs.send(bytes.data(), bytes.size()), -1);
  ssize_t sent = -1;
  for (int tries = 0; sent < 0 && tries < 6000; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    sent = outputs.send(bytes.data(), bytes.size());
  }
  EXPECT_EQ(sent, 188);
  EXPECT_EQ(ear.hear(), bytes);
  EXPECT_EQ(outputs.all()[0]->status().error, 0);
}

TEST(Outputs, NameTheOneThatCannotBeOpenedWithItsInterface) {
  const auto errorOf = [](const std::vector<Destination>& destinations, const SocketOptions& options) {
    try {
      const Outputs outputs(destinations, options);
    } catch (const OutputError& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(errorOf({destination("127.0.0.1:9"), destination("udp://239.1.1.1:5004")}, {"nosuch0", 0, 0}),
            "127.0.0.1:9 through nosuch0: there is no interface nosuch0");
  EXPECT_EQ(errorOf({destination("file:/no/such/a.ts")}, {"nosuch0", 0, 0}),
            "file:/no/such/a.ts: No such file or directory");
}

}  // namespace
}  // namespace vantor::outputs
