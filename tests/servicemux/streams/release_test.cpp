#include <gtest/gtest.h>

#include "interface/psi/packet.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/servicemux/doubles/Allocations.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Sender.h"

// The producer may be waiting for a stream's mutex: nothing is given back to the allocator while a caller holds it.

namespace {

std::shared_ptr<vantor::VBRmuxer> makeMuxer() {
  int socket = -1;
  static sockaddr_in destination{};
  return std::make_shared<vantor::VBRmuxer>(socket, reinterpret_cast<sockaddr*>(&destination), 1024, 7);
}

struct Releases {
  std::uint64_t all = 0;
  std::uint64_t whileLocked = 0;
};

/// What an operation of this thread gives back to the allocator.
template <typename Operation>
Releases releasesOf(Operation operation) {
  const auto before = countReleases();
  int held = 0;
  std::uint64_t atLock = 0;
  Releases releases;
  {
    const LockHook hook(
        [&](const void*) {
          if (held++ == 0) atLock = countReleases();
        },
        [](const void*) {},
        [&](const void*) {
          if (--held == 0) releases.whileLocked += countReleases() - atLock;
        });
    operation();
  }
  releases.all = countReleases() - before;
  return releases;
}

}  // namespace

TEST(RemovedSubtable, IsFreedWhenTheLockIsFreeAgain) {
  vantor::TableCarrousel carrousel(makeMuxer(), 0x11, vantor::muxed_stream::kNoCC);
  std::string packets(vantor::kPacketSize, '\0');
  vantor::SubTable* const sub = carrousel.new_packetized_subtable(packets, 100, 1);
  ASSERT_NE(sub, nullptr);
  const Releases releases = releasesOf([&] { EXPECT_EQ(carrousel.clear_packetized_subtable(sub), 0); });
  EXPECT_EQ(releases.whileLocked, 0U);
  EXPECT_GE(releases.all, 2U) << "the subtable and its packets";
}

class QueuedItems : public testing::Test {
 protected:
  /// Two items, of which the first has been sent.
  void SetUp() override {
    queue.queue_section(item, 0);
    queue.queue_section(item, 0);
    signed char packet[vantor::kPacketSize];
    auto next = boost::chrono::steady_clock::now();
    ASSERT_EQ(queue.get_packet(packet, next, next), 1);
  }

  const std::shared_ptr<vantor::VBRmuxer> muxer = makeMuxer();
  const std::string item = std::string(vantor::kPacketSize, '\0');
  vantor::SectionQueue queue{muxer, 0x14, 1000};
};

TEST_F(QueuedItems, AreFreedWhenTheLockIsFreeAgainOnceTheyAreCleared) {
  const Releases releases = releasesOf([&] { queue.clear_queue(); });
  EXPECT_EQ(releases.whileLocked, 0U);
  EXPECT_GE(releases.all, 4U) << "both items and their packets";
}

TEST_F(QueuedItems, AreFreedWhenTheLockIsFreeAgainOnceTheyAreSent) {
  const Releases releases = releasesOf([&] { queue.queue_section(item, 0); });
  EXPECT_EQ(releases.whileLocked, 0U);
  EXPECT_GE(releases.all, 2U) << "the first item and its packet";
}
