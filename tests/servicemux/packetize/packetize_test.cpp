#include "servicemux/packetize/packetize.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/packets.h"
#include "tests/servicemux/sections.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using vantor::kPacketSize;
using vantor::serviceMux;

constexpr unsigned short kAnyPid = 0x1ABC;

std::vector<std::string> split(const std::string& packets) {
  EXPECT_EQ(packets.size() % kPacketSize, 0U);
  std::vector<std::string> result;
  for (std::size_t offset = 0; offset < packets.size(); offset += kPacketSize)
    result.push_back(packets.substr(offset, kPacketSize));
  return result;
}

struct Packetized {
  unsigned int size;
  std::vector<std::string> packets;
};

Packetized packetizeOnPid(const Sections& sections, unsigned short pid = kAnyPid) {
  std::string out;
  const unsigned int size = serviceMux::packetize(pid, out, sections.get());
  return {size, split(out)};
}

std::vector<int> counters(const std::vector<std::string>& packets) {
  std::vector<int> result;
  for (const auto& packet : packets) result.push_back(counterOf(packet));
  return result;
}

std::vector<bool> starts(const std::vector<std::string>& packets) {
  std::vector<bool> result;
  for (const auto& packet : packets) result.push_back(startsPayloadUnit(packet));
  return result;
}

std::string pattern(std::size_t from, std::size_t size) {
  std::string bytes;
  for (std::size_t i = from; i < from + size; ++i) bytes.push_back(static_cast<char>(patternByte(i)));
  return bytes;
}

std::string stuffing(std::size_t size) { return std::string(size, '\xFF'); }

}  // namespace

TEST(Packetize, SectionOf183BytesFillsOnePacketWithoutStuffing) {
  const auto [size, packets] = packetizeOnPid(makeSections({{183}}));
  EXPECT_EQ(size, 183U);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0], std::string("\x47\x5A\xBC\x10\x00", 5) + pattern(0, 183));
}

TEST(Packetize, SectionOf184BytesTakesASecondPacketForItsLastByte) {
  const auto [size, packets] = packetizeOnPid(makeSections({{184}}));
  EXPECT_EQ(size, 184U);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0], std::string("\x47\x5A\xBC\x10\x00", 5) + pattern(0, 183));
  EXPECT_EQ(packets[1], "\x47\x1A\xBC\x11" + pattern(183, 1) + stuffing(183));
}

TEST(Packetize, FurtherPacketsCarry184Bytes) {
  EXPECT_EQ(packetizeOnPid(makeSections({{183 + 184}})).packets.size(), 2U);
  const auto [size, packets] = packetizeOnPid(makeSections({{183 + 184 + 1}}));
  EXPECT_EQ(size, 368U);
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[1], "\x47\x1A\xBC\x11" + pattern(183, 184));
  EXPECT_EQ(packets[2], "\x47\x1A\xBC\x12" + pattern(367, 1) + stuffing(183));
}

TEST(Packetize, EachSectionOfAChainStartsAPacketOfItsOwn) {
  const auto [size, packets] = packetizeOnPid(makeSections({{10}, {10}, {10}}));
  EXPECT_EQ(size, 30U);
  EXPECT_THAT(counters(packets), ElementsAre(0, 1, 2));
  EXPECT_THAT(starts(packets), ElementsAre(true, true, true));
  for (const auto& packet : packets)
    EXPECT_EQ(packet.substr(4), std::string(1, '\0') + pattern(0, 10) + stuffing(173));
}

TEST(Packetize, SectionWithSyntaxIndicatorIsSentWithItsCrc) {
  const auto [size, packets] = packetizeOnPid(makeSections({{20, true}}));
  EXPECT_EQ(size, 24U);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].substr(5), pattern(0, 24) + stuffing(159));
}

TEST(Packetize, SectionWithoutSyntaxIndicatorEndsWithItsPayload) {
  const auto [size, packets] = packetizeOnPid(makeSections({{8, false}}));
  EXPECT_EQ(size, 8U);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].substr(5), pattern(0, 8) + stuffing(175));
}

TEST(Packetize, CrcAloneCanSpillIntoAnotherPacket) {
  const auto [size, packets] = packetizeOnPid(makeSections({{181, true}}));
  EXPECT_EQ(size, 185U);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[1].substr(4), pattern(183, 2) + stuffing(182));
}

TEST(Packetize, CounterRunsOnModulo16AcrossSections) {
  const Sections sections = makeSections({{183 + 9 * 184}, {183 + 9 * 184}});
  const auto packets = packetizeOnPid(sections).packets;
  ASSERT_EQ(packets.size(), 20U);
  for (std::size_t i = 0; i < packets.size(); ++i) {
    EXPECT_EQ(counterOf(packets[i]), i % 16);
    EXPECT_EQ(byteAt(packets[i], 3) & 0xF0, 0x10) << "payload only, not scrambled";
    EXPECT_EQ(startsPayloadUnit(packets[i]), i % 10 == 0);
  }
}

TEST(Packetize, PidKeepsItsHighBitsExceptThatOfThePayloadUnitStart) {
  const auto packets = packetizeOnPid(makeSections({{184}}), 0xFFFF).packets;
  EXPECT_EQ(packets.at(0).substr(0, 3), "\x47\xFF\xFF");
  EXPECT_EQ(packets.at(1).substr(0, 3), "\x47\xBF\xFF");
}

TEST(Packetize, AppendsBehindWhatIsThere) {
  std::string out = "before";
  serviceMux::packetize(kAnyPid, out, makeSections({{10}}).get());
  EXPECT_EQ(out.size(), 6 + kPacketSize);
  EXPECT_EQ(out.substr(0, 7), "before\x47");
}

TEST(Packetize, NullChainAppendsNothing) {
  std::string out;
  EXPECT_EQ(serviceMux::packetize(kAnyPid, out, nullptr), 0U);
  EXPECT_EQ(out, "");
}

TEST(PacketizeFromCounter, ReturnsOneMoreThanTheNextCounter) {
  std::string out;
  EXPECT_EQ(vantor::packetize(kAnyPid, 14, out, makeSections({{10}}).get()), 0);
  EXPECT_THAT(counters(split(out)), ElementsAre(14));
  out.clear();
  EXPECT_EQ(vantor::packetize(kAnyPid, 13, out, makeSections({{184}, {1}}).get()), 1);
  EXPECT_THAT(counters(split(out)), ElementsAre(13, 14, 15));
}

TEST(PacketizeFromCounter, NullChainCountsOn) {
  std::string out;
  EXPECT_EQ(vantor::packetize(kAnyPid, 15, out, nullptr), 0);
  EXPECT_EQ(vantor::packetize(kAnyPid, 3, out, nullptr), 4);
  EXPECT_EQ(out, "");
}

TEST(PacketizeFromCounter, TakesTheCounterModulo16) {
  std::string out;
  EXPECT_EQ(vantor::packetize(kAnyPid, 0x1E, out, makeSections({{10}}).get()), 0);
  EXPECT_THAT(counters(split(out)), ElementsAre(14));
  EXPECT_EQ(byteAt(out, 3), 0x1E);
  EXPECT_EQ(vantor::packetize(kAnyPid, 0xFF, out, nullptr), 0);
}

TEST(PacketizeFromCounter, MakesTheSamePacketsAsTheMember) {
  const Sections sections = makeSections({{500, true}, {7}, {183}});
  std::string member;
  std::string function = "x";
  serviceMux::packetize(kAnyPid, member, sections.get());
  vantor::packetize(kAnyPid, 0, function, sections.get());
  EXPECT_EQ(function, "x" + member);
}

TEST(NullPacket, IsPayloadOfFfOnPid1fff) {
  std::string out = "x";
  serviceMux::getNULLPacket(out);
  EXPECT_EQ(out, "x\x47\x1F\xFF\x10" + stuffing(184));
}

TEST(NumberOfSections, IsCountedModulo256) {
  EXPECT_EQ(serviceMux::getNumberOfSectionsInSubtable(nullptr), 0);
  Sections chain;
  for (int length = 1; length <= 257; ++length) {
    Sections section = makeSection({1});
    section->p_next = chain.release();
    chain = std::move(section);
    EXPECT_EQ(serviceMux::getNumberOfSectionsInSubtable(chain.get()), length % 256);
  }
}
