#include "servicemux/muxer/muxed_stream.h"

#include <gtest/gtest.h>

#include <boost/intrusive/list.hpp>

#include "tests/servicemux/muxer/ClassicStream.h"
#include "tests/servicemux/muxer/makeMuxer.h"
#include "tests/servicemux/packets.h"

namespace {

using vantor::muxed_stream;
using vantor::VBRmuxer;

/// Gives access to what a stream inherits.
class Stream : public ClassicStream {
 public:
  Stream(const std::shared_ptr<VBRmuxer>& muxer, unsigned char initialCC)
      : ClassicStream(muxer, 1, true, initialCC) {}
  ~Stream() override { unlinkFromMuxer(); }

  unsigned int getBitrate() override { return 0; }
  int get_packet(signed char*, time_point, time_point&) override { return 0; }

  std::string restamped(std::string packet) {
    restamp_cc(reinterpret_cast<signed char*>(packet.data()));
    return packet;
  }
};

std::string withControl(unsigned char byte3) {
  std::string packet = makePacket(0x1ABC, 0);
  packet[3] = static_cast<char>(byte3);
  return packet;
}

}  // namespace

TEST(ContinuityCounter, StartsWithThatOfTheFirstPacket) {
  Stream stream(nullptr, muxed_stream::kNoCC);
  EXPECT_EQ(stream.GetLastCC(), 16);
  EXPECT_EQ(stream.restamped(makePacket(1, 9)), makePacket(1, 9));
  EXPECT_EQ(stream.GetLastCC(), 9);
  EXPECT_EQ(stream.restamped(makePacket(1, 9)), makePacket(1, 10));
  EXPECT_EQ(stream.restamped(makePacket(1, 3)), makePacket(1, 11));
}

TEST(ContinuityCounter, ContinuesFromAGivenOne) {
  Stream stream(nullptr, 5);
  EXPECT_EQ(stream.GetLastCC(), 5);
  EXPECT_EQ(stream.restamped(makePacket(1, 0)), makePacket(1, 6));
  EXPECT_EQ(stream.GetLastCC(), 6);
}

TEST(ContinuityCounter, WrapsFrom15To0) {
  Stream stream(nullptr, 14);
  EXPECT_EQ(stream.restamped(makePacket(1, 0)), makePacket(1, 15));
  EXPECT_EQ(stream.restamped(makePacket(1, 0)), makePacket(1, 0));
  EXPECT_EQ(stream.GetLastCC(), 0);
}

TEST(ContinuityCounter, DoesNotAdvanceWithoutPayload) {
  Stream stream(nullptr, 5);
  EXPECT_EQ(stream.restamped(withControl(0x2C)), withControl(0x2C));
  EXPECT_EQ(stream.GetLastCC(), 5);
  EXPECT_EQ(stream.restamped(withControl(0x30)), withControl(0x36)) << "payload behind an adaptation field";
}

TEST(ContinuityCounter, FirstPacketWithoutPayloadGivesItsCounterToo) {
  Stream stream(nullptr, muxed_stream::kNoCC);
  EXPECT_EQ(stream.restamped(withControl(0x2C)), withControl(0x2C));
  EXPECT_EQ(stream.GetLastCC(), 12);
}

TEST(ContinuityCounter, LeavesTheRestOfThePacketAlone) {
  Stream stream(nullptr, 0);
  EXPECT_EQ(stream.restamped(withControl(0xDF)), withControl(0xD1));
}

TEST(StreamLink, IsMadeOnceAndUndone) {
  const auto muxer = makeMuxer();
  Stream stream(muxer, 0);
  EXPECT_FALSE(stream.is_linked());
  stream.linkToMuxer();
  stream.linkToMuxer();
  EXPECT_TRUE(stream.is_linked());
  stream.unlinkFromMuxer();
  EXPECT_FALSE(stream.is_linked());
  stream.unlinkFromMuxer();
  EXPECT_FALSE(stream.is_linked());
}

TEST(StreamLink, DoesNotKeepTheMuxerAlive) {
  auto muxer = makeMuxer();
  const std::weak_ptr<VBRmuxer> watched = muxer;
  Stream stream(muxer, 0);
  stream.linkToMuxer();
  muxer.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(StreamLink, EndsWithTheMuxer) {
  auto muxer = makeMuxer();
  auto stream = std::make_unique<Stream>(muxer, 0);
  auto another = std::make_unique<Stream>(muxer, 0);
  stream->linkToMuxer();
  another->linkToMuxer();
  muxer.reset();
  EXPECT_FALSE(stream->is_linked());
  stream->linkToMuxer();
  EXPECT_FALSE(stream->is_linked());
  stream->unlinkFromMuxer();
  stream.reset();
}

TEST(StreamLink, EndsWithTheStream) {
  const auto muxer = makeMuxer();
  Stream first(muxer, 0);
  first.linkToMuxer();
  {
    Stream second(muxer, 0);
    second.linkToMuxer();
  }
  first.unlinkFromMuxer();
  first.linkToMuxer();
  EXPECT_TRUE(first.is_linked());
}

// In every build: a list with a dead stream in it would send the producer into freed memory.
TEST(StreamLinkDeathTest, StreamThatDiesInAListStopsTheProcess) {
  using List = boost::intrusive::list<muxed_stream, boost::intrusive::base_hook<vantor::muxed_stream_hook>>;
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        List list;
        auto stream = std::make_unique<Stream>(nullptr, 0);
        list.push_back(*stream);
        stream.reset();
      },
      "!hook.is_linked\\(\\)");
}

TEST(LinkedStream, LeavesTheMuxerWithItsBaseAtTheLatest) {
  class ForgetfulStream : public ClassicStream {
   public:
    explicit ForgetfulStream(const std::shared_ptr<VBRmuxer>& muxer) : ClassicStream(muxer, 1, true, kNoCC) {}
    unsigned int getBitrate() override { return 0; }
    int get_packet(signed char*, time_point, time_point&) override { return 0; }
  };
  const auto muxer = makeMuxer();
  auto stream = std::make_unique<ForgetfulStream>(muxer);
  stream->linkToMuxer();
  stream.reset();  // a hook that is still linked stops the process
  Stream next(muxer, muxed_stream::kNoCC);
  next.linkToMuxer();
  EXPECT_TRUE(next.is_linked());
}
