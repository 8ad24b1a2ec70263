#include "servicemux/packetize/TableFacts.h"

#include <gtest/gtest.h>

#include "interface/psi/packet.h"
#include "servicemux/packetize/packetize.h"

namespace {

using vantor::factsOf;
using vantor::TableFacts;

/// A section of `size` bytes whose header is `header` and whose section_length is right; the rest is 0.
std::string section(std::string header, std::size_t size) {
  header.resize(size, '\0');
  header[1] = static_cast<char>((static_cast<unsigned char>(header[1]) & 0xF0) | (size - 3) >> 8);
  header[2] = static_cast<char>((size - 3) & 0xFF);
  return header;
}

/// Packets in which every section begins one.
std::string packets(const std::vector<std::string>& sections) {
  std::string out;
  for (const std::string& bytes : sections) vantor::packetizeBytes(0x11, 0, out, bytes);
  return out;
}

// table_id 0x46, transport_stream_id 2, version 19, section 0 of 1, original_network_id 0x2114.
const std::string kOther("\x46\xF0\x00\x00\x02\xE7\x00\x01\x21\x14", 10);

}  // namespace

TEST(TableFacts, AreNoneWithoutPackets) {
  const TableFacts facts = factsOf("");
  EXPECT_FALSE(facts.hasSection);
  EXPECT_EQ(facts.version, -1);
  EXPECT_EQ(facts.sections + facts.bytes + facts.packets, 0U);
}

TEST(TableFacts, OfANullPacketAreItsNumberAlone) {
  std::string null;
  vantor::appendNullPacket(null);
  const TableFacts facts = factsOf(null);
  EXPECT_FALSE(facts.hasSection);
  EXPECT_EQ(facts.packets, 1U);
  EXPECT_EQ(facts.sections, 0U);
}

TEST(TableFacts, CountSectionsBytesAndPackets) {
  const TableFacts facts = factsOf(packets({section(kOther, 1000), section(kOther, 30)}));
  EXPECT_TRUE(facts.hasSection);
  EXPECT_EQ(facts.sections, 2U);
  EXPECT_EQ(facts.bytes, 1030U);
  EXPECT_EQ(facts.packets, 7U);
}

TEST(TableFacts, TellVersionExtensionAndStreamOfAnSdt) {
  const TableFacts facts = factsOf(packets({section(kOther, 30)}));
  EXPECT_EQ(facts.version, 19);
  EXPECT_EQ(facts.key.table_id, 0x46);
  EXPECT_EQ(facts.key.extension, 2);
  EXPECT_EQ(facts.key.transport_stream_id, 2);
  EXPECT_EQ(facts.key.original_network_id, 0x2114);
}

TEST(TableFacts, TellTheStreamOfAnEitFromItsPayload) {
  for (const char* const id : {"\x4E", "\x4F", "\x50", "\x6F"}) {
    const std::string eit = id + std::string("\xF0\x00\x01\x01\xC1\x00\x00\x12\x34\x56\x78", 11);
    const TableFacts facts = factsOf(packets({section(eit, 40)}));
    EXPECT_EQ(facts.key.extension, 0x101);
    EXPECT_EQ(facts.key.transport_stream_id, 0x1234);
    EXPECT_EQ(facts.key.original_network_id, 0x5678);
  }
}

TEST(TableFacts, OfOtherTablesTellNoStream) {
  const TableFacts facts =
      factsOf(packets({section(std::string("\x02\xB0\x00\x01\x01\xC1\x00\x00\x12\x34", 10), 40)}));
  EXPECT_EQ(facts.key.transport_stream_id, 0);
  EXPECT_EQ(facts.key.original_network_id, 0);
}

TEST(TableFacts, TellNoVersionOfAShortHeader) {
  const TableFacts facts = factsOf(packets({section(std::string("\x70\x70\x00\xFF\xFF\xFF\xFF\xFF", 8), 8)}));
  EXPECT_EQ(facts.version, -1);
  EXPECT_EQ(facts.key.table_id, 0x70);
  EXPECT_EQ(facts.key.extension, 0);
  EXPECT_EQ(facts.bytes, 8U);
}

TEST(TableFacts, TellTheVersionOfATableWithoutContent) {
  const TableFacts facts = factsOf(packets({section(std::string("\x01\xB0\x00\xFF\xFF\xC7\x00\x00", 8), 12)}));
  EXPECT_EQ(facts.version, 3);
  EXPECT_EQ(facts.key.extension, 0xFFFF);
}

TEST(TableFacts, CountSectionsThatStandBackToBackBehindOnePointer) {
  const std::string ecm("\x80\x70\x00", 3);
  const TableFacts facts = factsOf(packets({section(ecm, 182) + section(ecm, 60) + section(ecm, 300)}));
  EXPECT_EQ(facts.sections, 3U);
  EXPECT_EQ(facts.bytes, 542U);
  EXPECT_EQ(facts.packets, 3U);
}

TEST(TableFacts, OfSeveralSectionsAreNamedAfterTheFirst) {
  const std::string last("\x4E\xF0\x00\x00\x03\xC3\x01\x01\x12\x34\x56\x78", 12);
  const TableFacts facts = factsOf(packets({section(kOther, 300), section(last, 300)}));
  EXPECT_EQ(facts.sections, 2U);
  EXPECT_EQ(facts.key.table_id, 0x46);
  EXPECT_EQ(facts.key.extension, 2);
  EXPECT_EQ(facts.key.original_network_id, 0x2114);
  EXPECT_EQ(facts.version, 19);
}

TEST(TableFacts, DoNotCountASectionThatIsCutShort) {
  const std::string whole = packets({section(kOther, 400)});
  EXPECT_FALSE(factsOf(whole.substr(0, vantor::kPacketSize)).hasSection);
}
