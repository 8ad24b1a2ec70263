#include "programs/outputs/RtpHeader.h"

#include <gtest/gtest.h>

#include <set>

namespace vantor::outputs {
namespace {

using namespace std::chrono_literals;
using Time = RtpHeader::Clock::time_point;

std::uint32_t number(const RtpHeader::Bytes& header, std::size_t at, std::size_t size) {
  std::uint32_t value = 0;
  for (std::size_t i = at; i < at + size; ++i) value = value << 8 | header[i];
  return value;
}

std::uint32_t sequenceOf(const RtpHeader::Bytes& header) { return number(header, 2, 2); }
std::uint32_t timestampOf(const RtpHeader::Bytes& header) { return number(header, 4, 4); }
std::uint32_t ssrcOf(const RtpHeader::Bytes& header) { return number(header, 8, 4); }

TEST(RtpHeader, IsThatOfATransportStream) {
  const auto header = RtpHeader().at(Time());
  EXPECT_EQ(header[0], 0x80) << "version 2, no padding, no extension, no CSRC";
  EXPECT_EQ(header[1], 33) << "no marker, payload type MP2T";
}

TEST(RtpHeader, NumbersTheDatagrams) {
  RtpHeader rtp;
  const std::uint32_t first = sequenceOf(rtp.at(Time()));
  EXPECT_EQ(sequenceOf(rtp.at(Time())), first) << "nothing was sent";
  EXPECT_EQ(sequenceOf(rtp.at(Time(), 3)), (first + 3) & 0xFFFF);
  rtp.advance(3);
  EXPECT_EQ(sequenceOf(rtp.at(Time())), (first + 3) & 0xFFFF);
  rtp.advance(0xFFFF - 2);
  EXPECT_EQ(sequenceOf(rtp.at(Time())), first) << "it has gone around";
}

TEST(RtpHeader, CountsTimeInTicksOf90Kilohertz) {
  const RtpHeader rtp;
  const Time start(1h);
  const std::uint32_t first = timestampOf(rtp.at(start));
  EXPECT_EQ(timestampOf(rtp.at(start + 1s)) - first, 90000U);
  EXPECT_EQ(timestampOf(rtp.at(start + 20ms)) - first, 1800U);
  // 2^32 ticks are 47721.858844444 s.
  EXPECT_EQ(timestampOf(rtp.at(start + 47721858845us)), first) << "it has gone around";
}

TEST(RtpHeader, KeepsItsSource) {
  RtpHeader rtp;
  const std::uint32_t source = ssrcOf(rtp.at(Time()));
  rtp.advance(7);
  EXPECT_EQ(ssrcOf(rtp.at(Time(1h))), source);
}

TEST(RtpHeader, BeginsAtRandom) {
  std::set<std::uint32_t> sources;
  std::set<std::uint32_t> sequences;
  std::set<std::uint32_t> timestamps;
  for (int i = 0; i < 8; ++i) {
    const auto header = RtpHeader().at(Time());
    sources.insert(ssrcOf(header));
    sequences.insert(sequenceOf(header));
    timestamps.insert(timestampOf(header));
  }
  EXPECT_GT(sources.size(), 6U);
  EXPECT_GT(sequences.size(), 4U);
  EXPECT_GT(timestamps.size(), 6U);
}

}  // namespace
}  // namespace vantor::outputs
