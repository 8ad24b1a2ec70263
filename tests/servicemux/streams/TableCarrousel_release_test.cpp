#include <gtest/gtest.h>

#include "interface/psi/packet.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/TableCarrousel.h"
#include "tests/servicemux/doubles/Allocations.h"
#include "tests/servicemux/doubles/LockHook.h"
#include "tests/servicemux/doubles/Sender.h"

// The producer may be waiting for a stream's mutex: nothing is given back to the allocator while a caller holds it.
TEST(RemovedSubtable, IsFreedWhenTheLockIsFreeAgain) {
  Sender sender;
  const auto muxer = std::make_shared<vantor::VBRmuxer>(sender, 1024, 7);
  vantor::TableCarrousel carrousel(muxer, 0x11, vantor::muxed_stream::kNoCC);
  std::string packets(vantor::kPacketSize, '\0');
  vantor::SubTable* const sub = carrousel.new_packetized_subtable(packets, 100, 1);
  ASSERT_NE(sub, nullptr);

  const auto before = countReleases();
  int held = 0;
  std::uint64_t atLock = 0;
  std::uint64_t whileHeld = 0;
  {
    const LockHook hook(
        [&](const void*) {
          if (held++ == 0) atLock = countReleases();
        },
        [](const void*) {},
        [&](const void*) {
          if (--held == 0) whileHeld += countReleases() - atLock;
        });
    EXPECT_EQ(carrousel.clear_packetized_subtable(sub), 0);
  }
  EXPECT_EQ(whileHeld, 0U);
  EXPECT_GE(countReleases() - before, 2U) << "the subtable and its packets";
}
