#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <thread>

#include "servicemux/front/serviceMux.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/streams/SectionQueue.h"
#include "tests/servicemux/doubles/Allocations.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/front/outputs.h"

namespace {

using vantor::serviceMux;

/// Lets this many more datagrams go.
void awaitDatagrams(const serviceMux& mux, std::uint64_t count) {
  const std::uint64_t end = mux.statistics().datagrams + count;
  while (mux.statistics().datagrams < end) std::this_thread::yield();
}

}  // namespace

TEST(Allocations, AreCountedHere) {
  const auto before = countAllocations();
  const std::string text(1000, 'x');
  EXPECT_EQ(countAllocations(), before + 1) << text;
}

TEST(Allocations, DoNotHappenOnThePacketPath) {
  serviceMux mux("mux", makeAddress(), "");
  mux.setBitrate(20000);
  mux.newPAT(makePat(1, 250));
  mux.newCAT(makeCat(1));
  mux.newNIT(makeNit(1, 6));
  mux.newNULLPkts(0);  // at the ceiling
  awaitDatagrams(mux, 50);
  const auto busy = countAllocations();
  awaitDatagrams(mux, 1000);
  EXPECT_EQ(countAllocations(), busy);

  mux.clearAllTables();
  mux.newNULLPkts(30);  // with a gap behind each, in which both threads sleep
  awaitDatagrams(mux, 3);
  const auto idle = countAllocations();
  awaitDatagrams(mux, 10);
  EXPECT_EQ(countAllocations(), idle);
}

TEST(Allocations, DoNotHappenInAQueueAndNothingIsFreedThere) {
  Sender sender;
  const auto muxer = std::make_shared<vantor::VBRmuxer>(sender, 1024, 7);
  vantor::SectionQueue queue(muxer, 0x14, 0);
  for (int i = 0; i < 100; ++i) queue.queue_section(std::string(2 * vantor::kPacketSize, '\x10'), 1000000U + i % 3);
  signed char packet[vantor::kPacketSize];
  const auto late = boost::chrono::steady_clock::now() + boost::chrono::hours(1);
  const auto allocations = countAllocations();
  const auto releases = countReleases();
  for (int i = 0; i < 200; ++i) {
    auto next = late;
    ASSERT_EQ(queue.get_packet(packet, late, next), 1);
  }
  EXPECT_EQ(countAllocations(), allocations);
  EXPECT_EQ(countReleases(), releases);
  queue.queue_section(std::string(vantor::kPacketSize, '\x10'), 0);
  EXPECT_GE(countReleases(), releases + 200) << "the caller frees what has been sent";
}

TEST(Allocations, DoNotHappenInTheCarrousels) {
  serviceMux mux("mux", makeAddress(), "");
  mux.setBitrate(20000);
  serviceMux::EITRecords schedules;
  for (int service = 1; service <= 200; ++service) {
    mux.newPMT(makePmt(service, 1), static_cast<short>(0x100 + service % 10));
    mux.newSDTOthers(makeSdt(service, 1, 1, 10));
    schedules[0][service] = makeEit(0x50, service, 1, 40);
  }
  ASSERT_EQ(mux.newEITsch(schedules), 1);
  ASSERT_EQ(mux.tablesOnAir().size(), 600U);
  awaitDatagrams(mux, 50);
  const auto before = countAllocations();
  awaitDatagrams(mux, 1000);
  EXPECT_EQ(countAllocations(), before);
}

TEST(Allocations, DoNotHappenWhenTheRateIsSet) {
  serviceMux mux("mux", makeAddress(), "");
  const auto before = countAllocations();
  mux.setBitrate(5000);
  EXPECT_EQ(mux.statistics().sendErrors, 0U);
  EXPECT_EQ(countAllocations(), before);
}
