#include "programs/inputs/DatagramPackets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/inputs/networkCaptures.h"
#include "tests/programs/inputs/readPackets.h"

namespace vantor::inputs {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;

class Datagrams : public ::testing::Test {
 protected:
  std::vector<unsigned> push(const std::string& payload) {
    datagrams.push(payload, std::nullopt);
    std::vector<unsigned> marks;
    for (Packet packet; datagrams.next(packet);) marks.push_back(markOf(packet));
    return marks;
  }

  InputCounts counts;
  DatagramPackets datagrams{counts};
};

TEST_F(Datagrams, HoldPacketsByThemselvesOrInRtp) {
  EXPECT_THAT(push(markedPackets(3)), ElementsAre(0, 1, 2));
  EXPECT_THAT(push(rtp(1, markedPackets(3, 3))), ElementsAre(3, 4, 5));
  EXPECT_EQ(counts.datagrams, 2U);
  EXPECT_EQ(counts.packets, 6U);
}

TEST_F(Datagrams, MayHaveTheirReedSolomonCode) {
  EXPECT_THAT(push(markedPacket(1, 8) + std::string(16, '\1') + markedPacket(1, 9) + std::string(16, '\1')),
              ElementsAre(8, 9));
  EXPECT_EQ(counts.skippedBytes, 0U);
}

TEST_F(Datagrams, WithoutPacketsAreCounted) {
  for (const std::string& payload : {std::string("hello"), std::string(), rtp(1, "hello"), std::string(188, 'x')})
    EXPECT_TRUE(push(payload).empty());
  EXPECT_EQ(counts.otherDatagrams, 4U);
  EXPECT_EQ(counts.datagrams, 0U);
}

TEST_F(Datagrams, LoseOnlyWhatIsDamaged) {
  std::string bytes = markedPackets(4);
  bytes[188] = 'x';
  EXPECT_THAT(push(bytes + "tail"), ElementsAre(0, 2, 3));
  EXPECT_EQ(counts.skippedBytes, 192U);
}

TEST_F(Datagrams, OfRtpMayHaveSourcesAnExtensionAndPadding) {
  std::string bytes = rtp(1, markedPackets(1, 5));
  bytes[0] = '\xB2';  // padding, extension, two sources
  bytes.insert(12, std::string(8, '\1') + std::string("\0\0\0\1", 4) + "abcd");
  bytes += std::string("\0\0\0\4", 4);
  EXPECT_THAT(push(bytes), ElementsAre(5));
  EXPECT_EQ(counts.skippedBytes, 0U);
}

TEST_F(Datagrams, OfRtpThatAreMissingAreCounted) {
  push(rtp(65534, markedPackets(1)));
  push(rtp(65535, markedPackets(1)));
  push(rtp(0, markedPackets(1)));
  EXPECT_EQ(counts.rtpLost, 0U);
  push(rtp(4, markedPackets(1)));
  EXPECT_EQ(counts.rtpLost, 3U);
}

TEST_F(Datagrams, OfRtpThatAreLateAreLeftOut) {
  push(rtp(10, markedPackets(1)));
  push(rtp(11, markedPackets(1)));
  EXPECT_TRUE(push(rtp(11, markedPackets(1))).empty());
  EXPECT_TRUE(push(rtp(3, markedPackets(1))).empty());
  EXPECT_EQ(counts.rtpLate, 2U);
  EXPECT_THAT(push(rtp(12, markedPackets(1, 7))), ElementsAre(7));
  EXPECT_EQ(counts.rtpLost, 0U);
}

TEST_F(Datagrams, OfASenderThatBeginsAnewAreTaken) {
  push(rtp(10, markedPackets(1)));
  EXPECT_THAT(push(rtp(5, markedPackets(1, 6), 2)), ElementsAre(6));
  EXPECT_THAT(push(rtp(40000, markedPackets(1, 7), 2)), ElementsAre(7));
  EXPECT_EQ(counts.rtpLate, 0U);
}

}  // namespace
}  // namespace vantor::inputs
