#include "programs/inputs/Synchroniser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/inputs/StreamPackets.h"
#include "tests/programs/inputs/MemoryBytes.h"
#include "tests/programs/inputs/networkCaptures.h"
#include "tests/programs/inputs/readPackets.h"

namespace vantor::inputs {
namespace {

using namespace vantor::testing;
/// Whatever lies from packet to packet: nothing, a timestamp in front or a checksum behind.
class Distances : public ::testing::TestWithParam<std::size_t> {
 protected:
  static std::size_t distance() { return GetParam(); }

  static std::string packet(unsigned mark) {
    if (distance() == 192) return "\x12\x34\x56\x78" + markedPacket(0x100, mark);
    return markedPacket(0x100, mark) + std::string(distance() - 188, '\x55');
  }
  static std::string packets(unsigned first, unsigned last) {
    std::string out;
    for (unsigned mark = first; mark <= last; ++mark) out += packet(mark);
    return out;
  }

  std::vector<unsigned> read(const std::string& bytes, std::size_t part = 1000) {
    StreamPackets source(std::make_unique<MemoryBytes>(bytes, part));
    const auto marks = marksOf(source);
    counts = source.counts();
    return marks;
  }

  void expectCounts(std::uint64_t skipped, std::uint64_t places, std::uint64_t tail) const {
    EXPECT_EQ(counts.skippedBytes, skipped);
    EXPECT_EQ(counts.resynchronisations, places);
    EXPECT_EQ(counts.tailBytes, tail);
  }

  InputCounts counts;
};

INSTANTIATE_TEST_SUITE_P(Packets, Distances, ::testing::Values(188, 192, 204));

TEST_P(Distances, AreRecognised) {
  EXPECT_EQ(read(packets(1, 20)), marks(1, 20));
  EXPECT_EQ(counts.packets, 20U);
  expectCounts(0, 0, 0);
}

TEST_P(Distances, AreRecognisedHoweverTheBytesCome) {
  for (const std::size_t part : {1, 3, 187, 4096}) EXPECT_EQ(read(packets(1, 20), part), marks(1, 20)) << part;
}

TEST_P(Distances, AreRecognisedOfOneOrTwoPackets) {
  EXPECT_EQ(read(packets(7, 7)), marks(7, 7));
  EXPECT_EQ(read(packets(7, 8)), marks(7, 8));
  expectCounts(0, 0, 0);
}

TEST_P(Distances, BeginBehindJunk) {
  for (const std::size_t junk : {1, 5, 187, 188, 1000, 100000}) {
    EXPECT_EQ(read(std::string(junk, 'x') + packets(1, 20)), marks(1, 20)) << junk;
    expectCounts(junk, 1, 0);
  }
}

TEST_P(Distances, AreNotMistakenForJunkThatLooksLikeSync) {
  std::string junk(500, 'x');
  for (const std::size_t at : {100, 288, 476}) junk[at] = 0x47;  // only so many in a row
  EXPECT_EQ(read(junk + packets(1, 20)), marks(1, 20));
  expectCounts(500, 1, 0);
}

TEST_P(Distances, GoOnBehindADamagedSyncByte) {
  std::string bytes = packets(1, 20);
  bytes[9 * distance() + (distance() == 192 ? 4 : 0)] = 0x46;
  std::vector<unsigned> expected = marks(1, 20);
  expected.erase(expected.begin() + 9);
  EXPECT_EQ(read(bytes), expected);
  expectCounts(188, 1, 0);
}

TEST_P(Distances, GoOnBehindADamagedLastButOne) {
  std::string bytes = packets(1, 20);
  bytes[18 * distance() + (distance() == 192 ? 4 : 0)] = 0x46;
  std::vector<unsigned> expected = marks(1, 20);
  expected.erase(expected.begin() + 18);
  EXPECT_EQ(read(bytes), expected);
  expectCounts(188, 1, 0);
}

TEST_P(Distances, GoOnBehindBytesTooMany) {
  EXPECT_EQ(read(packets(1, 10) + std::string(77, 'x') + packets(11, 20)), marks(1, 20));
  expectCounts(77, 1, 0);
}

TEST_P(Distances, GoOnBehindBytesLost) {
  std::string bytes = packets(1, 20);
  bytes.erase(9 * distance() + 50, 10);  // of the tenth
  const auto found = read(bytes);
  // The tenth ends too soon and takes the beginning of the eleventh.
  std::vector<unsigned> expected = marks(1, 20);
  if (distance() != 204) expected.erase(expected.begin() + 10);  // else that of the checksum
  EXPECT_EQ(found, expected);
  EXPECT_EQ(counts.resynchronisations, 1U);
  EXPECT_EQ(counts.tailBytes, 0U);
}

TEST_P(Distances, EndWithinAPacket) {
  const std::size_t head = distance() == 192 ? 4 : 0;
  EXPECT_EQ(read(packets(1, 10) + packet(11).substr(0, head + 50)), marks(1, 10));
  expectCounts(0, 0, 50);
}

TEST_P(Distances, EndWithJunk) {
  EXPECT_EQ(read(packets(1, 10) + std::string(60, 'x')), marks(1, 10));
  EXPECT_EQ(counts.packets, 10U);
  EXPECT_GT(counts.tailBytes, 0U);
}

TEST_P(Distances, MayChange) { EXPECT_EQ(read(packets(1, 10) + markedPackets(10, 11)), marks(1, 20)); }

TEST_P(Distances, AreNotFoundInOtherBytes) {
  EXPECT_TRUE(read(std::string(5000, 'x')).empty());
  expectCounts(0, 0, 5000);
  EXPECT_FALSE(holdsPackets(std::string(5000, 'x'), true));
}

TEST(Packets, AreFoundAtTheBeginningOrAnywhere) {
  const std::string packets = markedPackets(10);
  EXPECT_TRUE(beginsWithPackets(packets, false));
  std::string stamped;
  for (unsigned i = 0; i < 10; ++i) stamped += "time" + markedPacket(0x100, i);
  EXPECT_TRUE(beginsWithPackets(stamped, false));
  EXPECT_TRUE(beginsWithPackets(markedPackets(1), true));
  EXPECT_FALSE(beginsWithPackets(markedPackets(1), false));
  EXPECT_FALSE(beginsWithPackets("x" + packets, true));
  EXPECT_TRUE(holdsPackets("x" + packets, true));
}

}  // namespace
}  // namespace vantor::inputs
