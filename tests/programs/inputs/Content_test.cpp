#include "programs/inputs/Content.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "tests/programs/inputs/MemoryBytes.h"
#include "tests/programs/inputs/networkCaptures.h"
#include "tests/programs/inputs/readPackets.h"
#include "tests/programs/streams.h"

namespace vantor::inputs {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

Content contentOf(const std::string& bytes, const std::string& name = "a", const InputOptions& options = {}) {
  return inputs::contentOf(std::make_unique<MemoryBytes>(bytes), name, options);
}

std::string errorOf(const std::string& bytes, const std::string& name = "a", const InputOptions& options = {}) {
  try {
    contentOf(bytes, name, options);
  } catch (const tables::InputError& error) {
    return error.what();
  }
  return "accepted";
}

struct Found {
  std::vector<unsigned> marks;
  std::vector<std::string> notes;
  InputCounts counts;
};

Found read(const std::string& bytes, const InputOptions& options = {}) {
  const Content content = contentOf(bytes, "a", options);
  EXPECT_EQ(content.kind, Content::Kind::packets);
  Found found;
  found.marks = marksOf(*content.packets);
  found.notes = content.packets->notes();
  found.counts = content.packets->counts();
  return found;
}

std::string sections(int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += sectionsOf(makeNit(i, 3))[0];
  return out;
}

TEST(Content, IsToldByTheBytesWhateverTheName) {
  EXPECT_EQ(contentOf(markedPackets(10)).kind, Content::Kind::packets);
  EXPECT_EQ(contentOf(markedPackets(10), "a.bin").kind, Content::Kind::packets);
  EXPECT_EQ(contentOf("junk" + markedPackets(10)).kind, Content::Kind::packets);
  EXPECT_EQ(contentOf(sections(1)).kind, Content::Kind::sections);
  EXPECT_EQ(contentOf(sections(30), "a.ts").kind, Content::Kind::sections);
  EXPECT_EQ(contentOf(R"( {"pat": 1})").kind, Content::Kind::json);
  EXPECT_EQ(contentOf("{}", "a.ts").kind, Content::Kind::json);
}

TEST(Content, IsPacketsBehindJunkThatCouldBeSections) {
  const std::string junk = std::string("\x4C\x01\x00", 3) + std::string(500, 'x');
  EXPECT_EQ(contentOf(junk + markedPackets(10)).kind, Content::Kind::packets);
  EXPECT_EQ(contentOf(junk + markedPackets(1000)).kind, Content::Kind::packets);
  EXPECT_EQ(contentOf(sections(300) + "G" + sections(300), "a.ts").kind, Content::Kind::sections);
}

TEST(Content, IsToldByTheNameWhereTheBytesAreNothing) {
  EXPECT_EQ(contentOf("[1]", "a.json").kind, Content::Kind::json);
  EXPECT_EQ(contentOf("", "a.json").kind, Content::Kind::json);
  EXPECT_EQ(contentOf("\x40", "a.bin").kind, Content::Kind::sections);
}

TEST(Content, OfNoKindIsRefused) {
  EXPECT_EQ(errorOf(std::string(4000, 'x'), "a.ts"),
            "a.ts: holds no packets (nowhere is 0x47 every 188, 192 or 204 bytes), no sections and no JSON");
  EXPECT_EQ(errorOf(""), "a: the file is empty");
  EXPECT_EQ(errorOf("", "-"), "stdin: the file is empty");
}

TEST(Content, KeepsTheBytesThatWereLookedAt) {
  const std::string json = "{\"a\": \"" + std::string(5000, 'x') + "\"}";
  EXPECT_EQ(readAll(*contentOf(json).bytes), json);
  EXPECT_EQ(readAll(*contentOf(gzipped(sections(3))).bytes), sections(3));
  EXPECT_EQ(read("junk" + markedPackets(6000)).marks, marks(0, 5999));  // more than the look takes
}

// ---- compression

using Compress = std::string (*)(const std::string&);

class Compressed : public ::testing::TestWithParam<Compress> {};

INSTANTIATE_TEST_SUITE_P(Content, Compressed, ::testing::Values(gzipped, xzipped));

TEST_P(Compressed, IsTakenApart) {
  const Found found = read(GetParam()(markedPackets(2000)));
  EXPECT_EQ(found.marks, marks(0, 1999));
  EXPECT_THAT(found.notes, IsEmpty());
}

TEST_P(Compressed, MayComeInSeveralParts) {
  EXPECT_EQ(read(GetParam()(markedPackets(100)) + GetParam()(markedPackets(100, 100))).marks, marks(0, 199));
}

TEST_P(Compressed, MayBeCompressedAgain) {
  EXPECT_EQ(read(gzipped(GetParam()(markedPackets(9)))).marks, marks(0, 8));
}

TEST_P(Compressed, GivesWhatIsThereWhenItBreaksOff) {
  std::string random;
  for (unsigned i = 0; i < 3000; ++i) {
    std::string packet = markedPacket(0x100, i);
    for (std::size_t at = 8; at < 188; ++at)
      packet[at] = static_cast<char>((i * 2654435761U + at * 40503U * i) >> 13);
    random += packet;
  }
  const std::string whole = GetParam()(random);
  const Found found = read(whole.substr(0, whole.size() / 2));
  EXPECT_GT(found.marks.size(), 100U);
  EXPECT_LT(found.marks.size(), 3000U);
  EXPECT_EQ(found.marks, marks(0, static_cast<unsigned>(found.marks.size()) - 1));
  ASSERT_EQ(found.notes.size(), 1U);
  EXPECT_THAT(found.notes[0], HasSubstr("break off"));
}

TEST_P(Compressed, GivesWhatComesBeforeDamage) {
  std::string bytes = GetParam()(markedPackets(2000));
  bytes[bytes.size() - 6] = static_cast<char>(bytes[bytes.size() - 6] ^ 0x10);
  const Found found = read(bytes + GetParam()(markedPackets(1)));
  ASSERT_EQ(found.notes.size(), 1U);
  EXPECT_THAT(found.notes[0], HasSubstr("damaged"));
}

TEST_P(Compressed, SaysWhyThereIsNothing) {
  EXPECT_THAT(errorOf(GetParam()(markedPackets(2000)).substr(0, 14)), HasSubstr("a: the "));
  EXPECT_THAT(errorOf(GetParam()(markedPackets(2000)).substr(0, 14)), HasSubstr("break off"));
}

// ---- captures of a network

struct NetworkCase {
  std::string name;
  std::string (*file)(const std::vector<std::string>&, unsigned);
  bool inRtp;
  std::string address;
};

class NetworkCapture : public ::testing::TestWithParam<NetworkCase> {
 protected:
  static std::string frame(unsigned number, unsigned port = 5004, const std::string& address = GetParam().address) {
    const std::string packets = markedPackets(7, number * 7);
    return ethernet(udpOverIp(address, port, GetParam().inRtp ? rtp(number, packets) : packets));
  }
  static std::string file(const std::vector<std::string>& frames) { return GetParam().file(frames, kEthernetLink); }
};

std::vector<NetworkCase> networkCases() {
  std::vector<NetworkCase> cases;
  for (const bool isNg : {false, true})
    for (const bool inRtp : {false, true})
      for (const bool isV6 : {false, true})
        cases.push_back({std::string(isNg ? "pcapng" : "pcap") + (inRtp ? "Rtp" : "Udp") + (isV6 ? "Ipv6" : "Ipv4"),
                         isNg ? &pcapng : &pcap, inRtp, isV6 ? kIpv6Group : kIpv4Group});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Content, NetworkCapture, ::testing::ValuesIn(networkCases()),
                         [](const auto& info) { return info.param.name; });

TEST_P(NetworkCapture, GivesThePacketsWithTheTimesOfTheirArrival) {
  const Content content = contentOf(file({frame(0), frame(1), frame(2)}));
  Packet packet;
  for (unsigned mark = 0; mark < 21; ++mark) {
    ASSERT_EQ(content.packets->read(packet, Deadline::max()), Read::kPacket);
    EXPECT_EQ(markOf(packet), mark);
    EXPECT_EQ(packet.time, 1'000'000'000 + mark / 7 * 1'000'000);
  }
  EXPECT_EQ(content.packets->read(packet, Deadline::max()), Read::kEnd);
  EXPECT_EQ(content.packets->counts().datagrams, 3U);
  EXPECT_THAT(content.packets->notes(), IsEmpty());
}

TEST_P(NetworkCapture, GivesTheFirstStreamAndNamesTheOthers) {
  const std::string bytes = file({frame(0), frame(9, 5006), frame(1), frame(10, 5006), frame(2, 5008)});
  const Found first = read(bytes);
  EXPECT_EQ(first.marks, marks(0, 13));
  const std::string host = GetParam().address.size() == 4 ? "239.1.2.3" : "[ff15::7]";
  EXPECT_THAT(first.notes, ElementsAre("the stream to " + host + ":5004 is read; there are others to " + host +
                                       ":5006 (2 datagrams), " + host + ":5008 (1 datagram); --stream chooses"));
  InputOptions options;
  options.stream = host + ":5006";
  EXPECT_EQ(read(bytes, options).marks, marks(63, 76));
}

TEST_P(NetworkCapture, MayBeCompressed) {
  EXPECT_EQ(read(gzipped(file({frame(0), frame(1)}))).marks, marks(0, 13));
  EXPECT_EQ(read(xzipped(file({frame(0), frame(1)}))).marks, marks(0, 13));
}

TEST_P(NetworkCapture, GivesWhatIsThereWhenItBreaksOff) {
  const std::string whole = file({frame(0), frame(1), frame(2)});
  const Found found = read(whole.substr(0, whole.size() - 300));
  EXPECT_EQ(found.marks, marks(0, 13));
  ASSERT_EQ(found.notes.size(), 1U);
  EXPECT_THAT(found.notes[0], HasSubstr("the capture breaks off: "));
}

TEST_P(NetworkCapture, CountsWhatItCannotUse) {
  const std::string address = GetParam().address;
  const auto fragment = [&](unsigned flagsAndOffset) {
    const std::string whole = frame(5);
    const std::string changed = address.size() == 4 ? bigEndian(flagsAndOffset, 2) : "\x2C\x40";
    return whole.substr(0, 20) + changed + whole.substr(22);
  };
  const Found found = read(file({frame(0), ethernet(udpOverIp(address, 5004, "hello")), fragment(0x2000),
                                 fragment(0x0010), frame(6).substr(0, 700), std::string(60, '\3'), frame(1)}));
  EXPECT_EQ(found.marks, marks(0, 13));
  EXPECT_EQ(found.counts.otherDatagrams, 1U);
  EXPECT_EQ(found.counts.fragments, 2U);
  EXPECT_EQ(found.counts.cutFrames, 1U);
  EXPECT_EQ(found.counts.otherFrames, 1U);
}

TEST(NetworkCaptures, OfAllLinksAreRead) {
  const std::string ip = udpOverIp(kIpv4Group, 5004, markedPackets(7));
  const std::string ip6 = udpOverIp(kIpv6Group, 5004, markedPackets(7));
  for (const std::string& one : {ip, ip6}) {
    for (const unsigned outer : {0x8100, 0x88A8, 0x9100})
      EXPECT_EQ(read(pcap({taggedEthernet(one, outer)})).marks, marks(0, 6)) << outer;
    EXPECT_EQ(read(pcap({loopback(one)}, kNullLink)).marks, marks(0, 6));
    EXPECT_EQ(read(pcap({loopback(one)}, kLoopLink)).marks, marks(0, 6));
    EXPECT_EQ(read(pcap({linuxCooked(one)}, kCookedLink)).marks, marks(0, 6));
    EXPECT_EQ(read(pcap({linuxCooked2(one)}, kCooked2Link)).marks, marks(0, 6));
    EXPECT_EQ(read(pcap({one}, kRawLink)).marks, marks(0, 6));
  }
  EXPECT_THAT(errorOf(pcap({ip}, 105)), HasSubstr("a: frames of link type "));
}

TEST(NetworkCaptures, OfEveryByteOrderAndPrecisionAreRead) {
  const std::string frame = ethernet(udpOverIp(kIpv4Group, 5004, markedPackets(7)));
  for (const unsigned magic : {0xA1B2C3D4, 0xA1B23C4D})
    for (const auto number : {&littleEndian, &bigEndian}) {
      const std::string file = number(magic, 4) + number(2, 2) + number(4, 2) + number(0, 8) + number(65535, 4) +
                               number(kEthernetLink, 4) + number(3, 4) + number(500, 4) + number(frame.size(), 4) +
                               number(frame.size(), 4) + frame;
      const Content content = contentOf(file, "a");
      Packet packet;
      ASSERT_EQ(content.packets->read(packet, Deadline::max()), Read::kPacket) << std::hex << magic;
      EXPECT_EQ(packet.time, 3'000'000'000 + (magic == 0xA1B2C3D4 ? 500'000 : 500)) << std::hex << magic;
    }
}

TEST(NetworkCaptures, OfIpv4AreReadBehindOptionsAndWithoutWhatFillsUpTheFrame) {
  std::string ip = udpOverIp(kIpv4Group, 5004, markedPackets(7));
  ip[0] = 0x46;
  ip.insert(20, "\x94\x04\1\1");
  EXPECT_EQ(read(pcap({ethernet(ip) + markedPackets(1, 9)})).marks, marks(0, 6));
}

TEST(NetworkCaptures, OfIpv6AreReadBehindExtensionHeaders) {
  std::string ip = udpOverIp(kIpv6Group, 5004, markedPackets(7));
  ip[6] = 0;  // hop-by-hop options, destination options, routing, UDP
  const std::string rest("\0\1\4\0\0\0\0", 7);
  ip.insert(40, "\x3C" + rest + "\x2B" + rest + "\x11" + rest);
  EXPECT_EQ(read(pcap({ethernet(ip)})).marks, marks(0, 6));
}

TEST(NetworkCaptures, WithoutPacketsSayWhatTheyHold) {
  InputOptions options;
  options.stream = "239.1.2.3:1";
  const Found found = read(pcap({ethernet(udpOverIp(kIpv4Group, 5004, markedPackets(7)))}), options);
  EXPECT_THAT(found.marks, IsEmpty());
  EXPECT_THAT(found.notes[0], HasSubstr("there are others to 239.1.2.3:5004"));
  options.stream = "east";
  EXPECT_EQ(errorOf(pcap({}), "a", options), "east: is no address and port like 239.1.1.1:5004");
}

}  // namespace
}  // namespace vantor::inputs
