#include "servicemux/streams/SimpleTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servicemux/front/serviceMux.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/packetize/packetize.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/packets.h"
#include "tests/servicemux/sections.h"

namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using vantor::SimpleTable;
using vantor::VBRmuxer;

constexpr unsigned short kNitPid = 0x10;

/// Table packets that differ in their payload: 0x10, 0x11 ... for a tag of 0x10. All carry the counter 7.
std::string makeTable(std::size_t packets, unsigned char tag = 0x10) {
  std::string table;
  for (std::size_t i = 0; i < packets; ++i) table += makePacket(kNitPid, 7, static_cast<unsigned char>(tag + i));
  return table;
}

/// A stream of a muxer that does not run, with clocks that stand still.
class SimpleTableTest : public testing::Test {
 protected:
  struct Asked {
    int result;
    int tag;  // -1 when nothing was written
    int counter;
    nanoseconds next;  // from now on
  };

  /// Asks for a packet at a time after the beginning.
  Asked ask(nanoseconds at, nanoseconds limit = seconds(100)) {
    const time_point now = start + at;
    time_point next = now + limit;
    std::string packet(vantor::kPacketSize, '\0');
    const int result = table->get_packet(reinterpret_cast<signed char*>(packet.data()), now, next);
    const bool written = byteAt(packet, 0) != 0;
    return {result, written ? byteAt(packet, 4) : -1, written ? counterOf(packet) : -1, next - now};
  }

  void set(std::string packets) { table->new_packetized_table(packets); }

  FrozenClocks clocks;
  const time_point start = clocks.steady();
  Sender sender;
  std::shared_ptr<VBRmuxer> muxer = std::make_shared<VBRmuxer>(sender, 1024, 7);
  std::unique_ptr<SimpleTable> table = std::make_unique<SimpleTable>(muxer, kNitPid, 100);
};

}  // namespace

TEST_F(SimpleTableTest, NewStreamIsEmptyAndNotLinked) {
  EXPECT_FALSE(table->is_linked());
  EXPECT_EQ(table->getBitrate(), 0U);
  EXPECT_EQ(table->metadataSize(), 0U);
  EXPECT_EQ(table->metadataVersion(), 0);
  EXPECT_EQ(table->GetLastCC(), 16);
  const Asked asked = ask({});
  EXPECT_EQ(asked.result, 0);
  EXPECT_EQ(asked.tag, -1);
  EXPECT_EQ(asked.next, seconds(100)) << "next must be left alone";
}

TEST_F(SimpleTableTest, SpreadsItsPacketsEvenlyOverThePeriod) {
  set(makeTable(3));
  EXPECT_EQ(table->getBitrate(), 45120U);
  for (int i = 0; i < 7; ++i) {
    const nanoseconds due(i * 33333333);
    if (i > 0) {
      const Asked early = ask(due - nanoseconds(1));
      EXPECT_EQ(early.result, 0) << i;
      EXPECT_EQ(early.tag, -1) << i;
      EXPECT_EQ(early.next, nanoseconds(1)) << i;
    }
    const Asked asked = ask(due);
    EXPECT_NE(asked.result, 0) << i;
    EXPECT_EQ(asked.tag, 0x10 + i % 3);
    EXPECT_EQ(asked.next, nanoseconds(33333333)) << i;
  }
}

TEST_F(SimpleTableTest, FirstPacketIsDueWhenTheTableIsSet) {
  clocks.advance(milliseconds(40));
  set(makeTable(1));
  EXPECT_EQ(ask(milliseconds(40) - nanoseconds(1)).result, 0);
  EXPECT_NE(ask(milliseconds(40)).result, 0);
}

TEST_F(SimpleTableTest, NeverRaisesTheNextDueTime) {
  set(makeTable(1));
  EXPECT_EQ(ask({}, milliseconds(30)).next, milliseconds(30)) << "after a packet";
  EXPECT_EQ(ask(milliseconds(1), milliseconds(99)).next, milliseconds(99))
      << "without a packet, due at the same time";
  EXPECT_EQ(ask(milliseconds(1), milliseconds(99) + nanoseconds(1)).next, milliseconds(99));
}

TEST_F(SimpleTableTest, LateServiceIsCaughtUpOnePacketACall) {
  set(makeTable(2));  // one packet every 50 ms
  const nanoseconds late = milliseconds(220);
  for (int i = 0; i < 5; ++i) EXPECT_NE(ask(late).result, 0) << i;
  const Asked asked = ask(late);
  EXPECT_EQ(asked.result, 0);
  EXPECT_EQ(asked.next, milliseconds(30)) << "due times follow the previous due time, not the moment of sending";
}

TEST_F(SimpleTableTest, ReplacedTableStartsAtItsFirstPacketAtOnce) {
  set(makeTable(3, 0x10));
  EXPECT_EQ(ask({}).tag, 0x10);
  clocks.advance(milliseconds(5));
  set(makeTable(2, 0x80));
  const Asked asked = ask(milliseconds(5));
  EXPECT_EQ(asked.tag, 0x80);
  EXPECT_EQ(asked.next, milliseconds(50));
  EXPECT_EQ(ask(milliseconds(55)).tag, 0x81);
  EXPECT_EQ(ask(milliseconds(105)).tag, 0x80);
}

TEST_F(SimpleTableTest, CounterRunsOnAcrossRepetitionAndReplacement) {
  set(makeTable(2));
  EXPECT_EQ(ask({}).counter, 7) << "the first packet keeps the counter it was made with";
  EXPECT_EQ(ask(milliseconds(50)).counter, 8);
  EXPECT_EQ(ask(milliseconds(100)).counter, 9);
  set(makeTable(3));
  EXPECT_EQ(ask(milliseconds(100)).counter, 10);
  table->clear_packetized_table();
  set(makeTable(1));
  EXPECT_EQ(ask(milliseconds(100)).counter, 11);
  EXPECT_EQ(table->GetLastCC(), 11);
}

TEST_F(SimpleTableTest, CallerGetsThePreviousPacketsBack) {
  std::string packets = makeTable(3, 0x10);
  table->new_packetized_table(packets);
  EXPECT_EQ(packets, "");
  packets = makeTable(1, 0x80);
  table->new_packetized_table(packets);
  EXPECT_EQ(packets, makeTable(3, 0x10));
}

TEST_F(SimpleTableTest, LinksItselfWithATableAndUnlinksItselfWithoutOne) {
  set(makeTable(1));
  EXPECT_TRUE(table->is_linked());
  EXPECT_EQ(table->clear_packetized_table(), 0);
  EXPECT_FALSE(table->is_linked());
}

TEST_F(SimpleTableTest, EmptyTableClearsTheStream) {
  std::string packets = makeTable(2);
  table->new_packetized_table_with_metadata(packets, 5, 300);
  packets.clear();
  table->new_packetized_table(packets);
  EXPECT_FALSE(table->is_linked());
  EXPECT_EQ(table->metadataSize(), 0U);
  const Asked asked = ask(seconds(10));
  EXPECT_EQ(asked.result, 0);
  EXPECT_EQ(asked.tag, -1);
  EXPECT_EQ(asked.next, seconds(100));
}

TEST_F(SimpleTableTest, EmptyTableWithMetadataLeavesOnlyItsVersion) {
  std::string packets;
  table->new_packetized_table_with_metadata(packets, 6, 300);
  EXPECT_EQ(table->metadataVersion(), 6);
  EXPECT_EQ(table->metadataSize(), 0U);
  EXPECT_FALSE(table->is_linked());
}

TEST_F(SimpleTableTest, ClearKeepsVersionAndBitrate) {
  std::string packets = makeTable(3);
  table->new_packetized_table_with_metadata(packets, 5, 300);
  EXPECT_EQ(table->metadataVersion(), 5);
  EXPECT_EQ(table->metadataSize(), 300U);
  table->clear_packetized_table();
  EXPECT_EQ(table->metadataVersion(), 5);
  EXPECT_EQ(table->metadataSize(), 0U);
  EXPECT_EQ(table->getBitrate(), 45120U);
}

TEST_F(SimpleTableTest, ClearedTableComesBackFromItsFirstPacket) {
  set(makeTable(3, 0x10));
  EXPECT_EQ(ask({}).tag, 0x10);
  table->clear_packetized_table();
  set(makeTable(3, 0x80));
  EXPECT_EQ(ask({}).tag, 0x80);
}

TEST_F(SimpleTableTest, NewPeriodCountsFromThePacketAfterTheNext) {
  set(makeTable(2));
  EXPECT_NE(ask({}).result, 0);
  table->SetPeriod(20);
  EXPECT_EQ(table->getBitrate(), 150400U);
  EXPECT_EQ(ask(milliseconds(50) - nanoseconds(1)).result, 0);
  const Asked asked = ask(milliseconds(50));
  EXPECT_NE(asked.result, 0);
  EXPECT_EQ(asked.next, milliseconds(10));
}

TEST_F(SimpleTableTest, PeriodOf0SendsOnEveryCallAndReportsNoBitrate) {
  set(makeTable(2));
  table->SetPeriod(0);
  EXPECT_EQ(table->getBitrate(), 0U);
  EXPECT_EQ(ask({}).tag, 0x10);
  EXPECT_EQ(ask(milliseconds(50)).tag, 0x11) << "the packet after the one that was next";
  for (int i = 0; i < 10; ++i) EXPECT_NE(ask(milliseconds(50)).result, 0) << i;
}

TEST_F(SimpleTableTest, PeriodOf0FromTheStartSendsOnEveryCall) {
  table = std::make_unique<SimpleTable>(muxer, kNitPid, 0);
  set(makeTable(2));
  for (int i = 0; i < 10; ++i) {
    const Asked asked = ask({});
    EXPECT_EQ(asked.tag, 0x10 + i % 2);
    EXPECT_EQ(asked.next, nanoseconds(0));
  }
}

TEST_F(SimpleTableTest, IntervalIsTruncatedToNanoseconds) {
  table->SetPeriod(1);
  set(makeTable(7));
  EXPECT_EQ(ask({}).next, nanoseconds(142857));
}

TEST_F(SimpleTableTest, BitrateAndIntervalAreComputedIn32Bits) {
  table->SetPeriod(1000);
  set(makeTable(3000));  // 564000 bytes by 8000 is 217032704 above 2^32
  EXPECT_EQ(table->getBitrate(), 217032U);
  table->SetPeriod(22845571);  // 188 times as much is 52 above 2^32
  set(makeTable(1));
  EXPECT_EQ(ask({}).next, nanoseconds(276595));
}

TEST_F(SimpleTableTest, TellsWhatIsOnAir) {
  const auto empty = table->onAir();
  EXPECT_EQ(empty.facts.packets, 0U);
  EXPECT_EQ(empty.facts.version, -1);
  EXPECT_EQ(empty.period, 100U);

  Sections sections = makeSections({{200, true}});
  sections->p_data[1] = 0xB0;
  sections->p_data[2] = static_cast<std::uint8_t>(vantor::sectionSize(*sections) - 3);
  sections->p_data[5] = 9 << 1;
  std::string packets;
  vantor::serviceMux::packetize(kNitPid, packets, sections.get());
  set(packets);
  table->SetPeriod(80);
  const auto onAir = table->onAir();
  EXPECT_EQ(onAir.facts.packets, 2U);
  EXPECT_EQ(onAir.facts.version, 9);
  EXPECT_EQ(onAir.period, 80U);
  EXPECT_EQ(onAir.repetition.count(), 0U);
}

TEST_F(SimpleTableTest, RepetitionsAreCountedAndMeasuredFromTheirFirstPackets) {
  set(makeTable(2));
  EXPECT_NE(ask({}).result, 0);
  EXPECT_EQ(table->onAir().repetition.count(), 1U);
  EXPECT_EQ(table->onAir().repetition.meanPeriod(), 0) << "one beginning makes no period";
  EXPECT_NE(ask(milliseconds(50)).result, 0);
  EXPECT_EQ(table->onAir().repetition.count(), 1U);
  EXPECT_NE(ask(milliseconds(103)).result, 0);  // 3 ms late
  EXPECT_EQ(table->onAir().repetition.count(), 2U);
  EXPECT_THAT(table->onAir().repetition.meanPeriod(), DoubleEq(103));
  EXPECT_NE(ask(milliseconds(150)).result, 0);
  EXPECT_NE(ask(milliseconds(205)).result, 0);
  EXPECT_EQ(table->onAir().repetition.count(), 3U);
  EXPECT_THAT(table->onAir().repetition.meanPeriod(), DoubleEq(102.5));
}

TEST_F(SimpleTableTest, RepetitionsStartAnewWithANewTable) {
  set(makeTable(1));
  EXPECT_NE(ask({}).result, 0);
  EXPECT_NE(ask(milliseconds(100)).result, 0);
  set(makeTable(1));
  EXPECT_EQ(table->onAir().repetition.count(), 0U);
  EXPECT_EQ(table->onAir().repetition.meanPeriod(), 0);
}

TEST_F(SimpleTableTest, OutlivesItsMuxer) {
  set(makeTable(1));
  muxer.reset();
  EXPECT_FALSE(table->is_linked()) << "the muxer lets go of its streams when it dies";
  set(makeTable(1));
  EXPECT_FALSE(table->is_linked());
  table->clear_packetized_table();
  table.reset();
}
