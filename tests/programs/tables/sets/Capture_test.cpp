#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/Capture.h"
#include "servicemux/packetize/TableFacts.h"
#include "tests/programs/captures.h"
#include "tests/programs/streams.h"

namespace vantor::tables::Capture_test {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::Pair;

std::string joined(const std::vector<std::string>& sections) {
  std::string out;
  for (const auto& section : sections) out += section;
  return out;
}

std::string errorOf(const std::string& bytes) {
  try {
    readSections(bytes);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

std::string bitFlipped(std::string bytes, std::size_t at) {
  bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
  return bytes;
}

TEST(CaptureReader, FindsTheTablesOnTheirPids) {
  const Capture capture =
      readTransportStream(Packer(0).apart(sectionsOf(makePat(3, 5))) + Packer(1).apart(sectionsOf(makeCat(7, 2))) +
                          Packer(0x10).apart(sectionsOf(makeNit(11, 3))));
  EXPECT_EQ(capture.tables.pat, makePat(3, 5));
  EXPECT_EQ(capture.tables.cat, makeCat(7, 2));
  EXPECT_EQ(capture.tables.nit, makeNit(11, 3));
  EXPECT_TRUE(capture.faults.empty());
  EXPECT_EQ(capture.packets, 4U);
}

TEST(CaptureReader, FindsTheTablesInAFileOfSections) {
  const Capture capture = readSections(joined(sectionsOf(makeNit(11, 3))) + joined(sectionsOf(makePat(3, 5))) +
                                       joined(sectionsOf(makeCat(7, 2))));
  EXPECT_EQ(capture.tables.pat, makePat(3, 5));
  EXPECT_EQ(capture.tables.cat, makeCat(7, 2));
  EXPECT_EQ(capture.tables.nit, makeNit(11, 3));
  EXPECT_EQ(capture.packets, 0U);
}

/// The table of a stream as the import has it, which has no other.
std::string importedName(const std::string& packets) {
  const Capture capture = readTransportStream(packets);
  return capture.imports.size() == 1 ? psi::tableName(capture.imports.begin()->first.table) : "not one table";
}

TEST(CaptureReader, TellsATableFromOthersAsTheOutputDoesThatSendsIt) {
  const std::string events = eitPayload(1, 0x4E, {{1, 0xE489120000}});
  for (const auto& [packets, name] : std::map<std::string, std::string>{
           {Packer(0).apart(sectionsOf(makePat(3, 5))), "PAT"},
           {Packer(0x10).apart(sectionsOf(makeNit(11, 3))), "NIT actual"},
           {Packer(0x11).apart(sectionsOf(makeSdt(5, 1, 1), 0x42)), "SDT actual"},
           {Packer(0x11).apart(sectionsOf(makeSdt(5, 1, 1), 0x46)), "SDT other 5/8442"},
           {Packer(0x12).apart({makeSection(0x4E, 258, 0, 0, 1, events)}), "EIT p/f actual 258"},
           {Packer(0x12).apart({makeSection(0x51, 258, 0, 0, 0, events)}), "EIT schedule actual 51 258"}}) {
    EXPECT_EQ(importedName(packets), name);
    EXPECT_EQ(psi::tableName(factsOf(packets).key), name);
  }
}

TEST(CaptureReader, PutsATableOfManySectionsTogetherInAnyOrder) {
  auto sections = sectionsOf(makePat(3, 250));
  ASSERT_EQ(sections.size(), 3U);
  std::swap(sections[0], sections[2]);
  EXPECT_EQ(readTransportStream(Packer(0).apart(sections)).tables.pat, makePat(3, 250));
  EXPECT_EQ(readSections(joined(sections)).tables.pat, makePat(3, 250));
}

TEST(CaptureReader, DoesNotTakeATableOfWhichASectionIsMissing) {
  auto sections = sectionsOf(makePat(3, 250));
  sections.erase(sections.begin() + 1);
  const Capture capture = readSections(joined(sections));
  EXPECT_FALSE(capture.tables.pat);
  EXPECT_TRUE(capture.imports.empty());
  EXPECT_EQ(capture.sections.at(0).count, 2U);
}

TEST(CaptureReader, ReadsSectionsThatShareAPacket) {
  const auto pat = sectionsOf(makePat(3, 2));
  const auto packets = Packer(0).packed({pat[0], sectionsOf(makePat(4, 3))[0], sectionsOf(makePat(5, 4))[0]});
  ASSERT_EQ(packets.size(), 188U);
  const Capture capture = readTransportStream(packets);
  EXPECT_EQ(capture.tables.pat, makePat(5, 4));
  EXPECT_EQ(capture.imports.at({{0, 0, 0, 0}, 0}).versions, 3U);
}

TEST(CaptureReader, ReadsSectionsThatBeginBehindThePointerField) {
  const std::string part = sectionsOf(makeNit(11, 10))[0];
  const std::string payload = part.substr(8, part.size() - 12);
  std::vector<std::string> sections;
  for (unsigned i = 0; i < 3; ++i) sections.push_back(makeSection(0x40, 0x3085, 11, i, 2, payload));
  const Capture capture = readTransportStream(Packer(0x10).packed(sections));
  ASSERT_TRUE(capture.tables.nit);
  ASSERT_EQ(capture.tables.nit->transport_streams.size(), 30U);
  EXPECT_EQ(capture.tables.nit->transport_streams[29], makeNit(11, 10).transport_streams[9]);
  EXPECT_EQ(capture.tables.nit->descriptors.size(), 1U);
  EXPECT_TRUE(capture.tables.nit->repeats_descriptors);
  EXPECT_TRUE(capture.faults.empty());
}

TEST(CaptureReader, ReadsASectionHeaderThatIsSplitBetweenPackets) {
  // The last bytes of the first packet are 0 to 13 of the second section.
  for (std::size_t first = 170; first <= 183; ++first) {
    const std::string padding = makeSection(0x40, 1, 0, 0, 0, std::string(first - 12, '\0'));
    const auto sections = sectionsOf(makeNit(11, 3));
    const Capture capture = readTransportStream(Packer(0x10).packed({padding, sections[0]}));
    EXPECT_EQ(capture.tables.nit, makeNit(11, 3)) << first;
  }
}

TEST(CaptureReader, KeepsTheLastWholeVersion) {
  Packer packer(0);
  std::string packets;
  for (const int version : {5, 5, 6, 6, 7, 7}) packets += packer.apart(sectionsOf(makePat(version, version)));
  auto unfinished = sectionsOf(makePat(8, 250));
  unfinished.pop_back();
  packets += packer.apart(unfinished);
  const Capture capture = readTransportStream(packets);
  EXPECT_EQ(capture.tables.pat, makePat(7, 7));
  EXPECT_EQ(capture.imports.at({{0, 0, 0, 0}, 0}).versions, 3U);
  EXPECT_EQ(capture.imports.at({{0, 0, 0, 0}, 0}).version, 7);
}

TEST(CaptureReader, NoticesNewContentUnderAnOldVersion) {
  Packer packer(0);
  const Capture capture =
      readTransportStream(packer.apart(sectionsOf(makePat(5, 2))) + packer.apart(sectionsOf(makePat(5, 3))));
  EXPECT_EQ(capture.tables.pat, makePat(5, 3));
  EXPECT_EQ(capture.imports.at({{0, 0, 0, 0}, 0}).versions, 2U);
}

TEST(CaptureReader, PrefersTheCurrentVersionToTheNext) {
  auto next = makePat(6, 3);
  next.current_next_indicator = false;
  Packer packer(0);
  const std::string announcement = packer.apart(sectionsOf(next));
  const Capture only = readTransportStream(announcement);
  EXPECT_EQ(only.tables.pat, next);
  EXPECT_FALSE(only.imports.at({{0, 0, 0, 0}, 0}).current);
  const Capture both =
      readTransportStream(announcement + packer.apart(sectionsOf(makePat(5, 2))) + packer.apart(sectionsOf(next)));
  EXPECT_EQ(both.tables.pat, makePat(5, 2));
  EXPECT_TRUE(both.imports.at({{0, 0, 0, 0}, 0}).current);
}

TEST(CaptureReader, CountsAndSkipsASectionWithAWrongCrc) {
  const std::string broken = bitFlipped(sectionsOf(makePat(6, 3))[0], 10);
  const std::string good = sectionsOf(makePat(5, 2))[0];
  const Capture stream = readTransportStream(Packer(0).apart({broken, good, broken}));
  EXPECT_EQ(stream.tables.pat, makePat(5, 2));
  EXPECT_THAT(stream.faults, ElementsAre(Pair(Pair(0, SectionFault::crc), 2U)));
  const Capture file = readSections(broken + good);
  EXPECT_EQ(file.tables.pat, makePat(5, 2));
  EXPECT_THAT(file.faults, ElementsAre(Pair(Pair(Capture::kNoPid, SectionFault::crc), 1U)));
}

TEST(CaptureReader, DropsTheSectionInWhichPacketsAreMissing) {
  const auto sections = sectionsOf(makeNit(11, 10));
  ASSERT_EQ(sections.size(), 1U);
  Packer packer(0x10);
  std::string holed = packer.apart(sections);
  holed.erase(188, 188);
  const Capture capture = readTransportStream(holed + packer.apart(sections));
  EXPECT_EQ(capture.tables.nit, makeNit(11, 10));
  EXPECT_THAT(capture.faults, ElementsAre(Pair(Pair(0x10, SectionFault::interrupted), 1U)));
}

TEST(CaptureReader, DoesNotPutPartsOfTwoSectionsTogether) {
  const auto section = sectionsOf(makeNit(11, 6));
  Packer packer(0x10);
  std::string packets = packer.apart(section) + packer.apart(section);
  ASSERT_EQ(packets.size(), 6 * 188U);
  packets.erase(2 * 188, 2 * 188);  // the end of the first section and the beginning of the second one
  const Capture capture = readTransportStream(packets);
  EXPECT_FALSE(capture.tables.nit);
  EXPECT_THAT(capture.faults, ElementsAre(Pair(Pair(0x10, SectionFault::interrupted), 1U)));
}

TEST(CaptureReader, DoesNotMindAGapBetweenSections) {
  Packer packer(0);
  std::string packets = packer.apart(sectionsOf(makePat(5, 2)));
  packer.skip();
  packets += packer.apart(sectionsOf(makePat(6, 3)));
  const Capture capture = readTransportStream(packets);
  EXPECT_EQ(capture.tables.pat, makePat(6, 3));
  EXPECT_TRUE(capture.faults.empty());
}

TEST(CaptureReader, TakesAPacketThatWasSentTwiceOnce) {
  std::string packets = Packer(0x10).apart(sectionsOf(makeNit(11, 10)));
  packets.insert(188, packets.substr(188, 188));
  const Capture capture = readTransportStream(packets);
  EXPECT_EQ(capture.tables.nit, makeNit(11, 10));
  EXPECT_TRUE(capture.faults.empty());
}

TEST(CaptureReader, SkipsAdaptationFields) {
  const std::string section = sectionsOf(makePat(5, 2))[0];
  std::string packet = Packer(0).apart({section});
  packet[3] = static_cast<char>(0x30);
  packet.insert(4, std::string("\x07\x10") + std::string(6, '\0'));
  packet.resize(188);
  EXPECT_EQ(readTransportStream(packet).tables.pat, makePat(5, 2));
}

TEST(CaptureReader, DropsWhatLiesInBrokenOrScrambledPackets) {
  const auto sections = sectionsOf(makeNit(11, 10));
  for (const auto& [at, flag] : {std::pair(189, 0x80), std::pair(191, 0x80)}) {
    std::string packets = Packer(0x10).apart(sections);
    auto& byte = packets[static_cast<std::size_t>(at)];
    byte = static_cast<char>(byte | flag);
    const Capture capture = readTransportStream(packets);
    EXPECT_FALSE(capture.tables.nit) << at;
    EXPECT_THAT(capture.faults, ElementsAre(Pair(Pair(0x10, SectionFault::interrupted), 1U))) << at;
  }
}

TEST(CaptureReader, CountsSectionsWhoseContentsDoNotAddUp) {
  using namespace std::string_literals;
  const std::pair<const char*, std::string> cases[] = {
      {"NIT: a loop beyond the end", makeSection(0x40, 1, 0, 0, 0, "\xF0\x00\xF0\xFF"s)},
      {"NIT: a descriptor beyond its loop", makeSection(0x40, 1, 0, 0, 0, "\xF0\x03\x40\x05\x00\xF0\x00"s)},
      {"NIT: no loops", makeSection(0x40, 1, 0, 0, 0, "\xF0"s)},
      {"NIT: a stream's loop beyond the end",
       makeSection(0x40, 1, 0, 0, 0, "\xF0\x00\xF0\x06\x00\x01\x00\x02\xF0\x01"s)},
      {"NIT: a stream's descriptor beyond its loop",
       makeSection(0x40, 1, 0, 0, 0, "\xF0\x00\xF0\x08\x00\x01\x00\x02\xF0\x02\x41\x01"s)},
      {"NIT: part of a stream", makeSection(0x40, 1, 0, 0, 0, "\xF0\x00\xF0\x03\x00\x01\x00"s)},
      {"PAT: part of a program", makeSection(0x00, 1, 0, 0, 0, "12345")},
      {"PAT: too long", makeSection(0x00, 1, 0, 0, 0, std::string(1200, '\0'))},
      {"PAT: a number above the last one", makeSection(0x00, 1, 0, 1, 0, "1234")},
      {"SDT: a number above the last one", makeSection(0x42, 1, 0, 1, 0, "")},
      {"CAT: a descriptor beyond the end", makeSection(0x01, 1, 0, 0, 0, "\x09\x04zzz")},
  };
  for (const auto& [what, section] : cases) {
    const Capture capture = readSections(section);
    EXPECT_TRUE(capture.imports.empty()) << what;
    EXPECT_THAT(capture.faults, ElementsAre(Pair(Pair(Capture::kNoPid, SectionFault::content), 1U))) << what;
  }
}

TEST(CaptureReader, CountsWhatItDoesNotTake) {
  const Capture capture = readSections(makeSection(0x42, 1, 0, 0, 0, "") + makeSection(0x4A, 1, 0, 0, 0, "") +
                                       makeSection(0x51, 1, 0, 0, 0, "") + makeSection(0x55, 1, 0, 0, 0, ""));
  EXPECT_EQ(capture.sections.size(), 4U);
}

TEST(CaptureReader, DoesNotTakeATableFromAnotherPid) {
  const Capture capture = readTransportStream(Packer(0x10).apart(sectionsOf(makePat(5, 2))));
  EXPECT_FALSE(capture.tables.pat);
  EXPECT_THAT(capture.sections.at(0).pids, ElementsAre(0x10));
}

TEST(CaptureReader, FollowsTheTablesToTheirPmtsEcmsAndEmms) {
  const std::string ca{"\x09\x04\x0B\x00\xE3\x00", 6};  // ECMs on PID 0x300
  const std::string pmt = makeSection(0x02, 1, 0, 0, 0, std::string("\xE2\x00\xF0\x06", 4) + ca);
  const std::string stream = Packer(0x300).apart({makeSection(0x80, 1, 0, 0, 0, "ecm")}) +
                             Packer(0x64).apart({makeSection(0x82, 1, 0, 0, 0, "emm")}) +
                             Packer(0x101).apart({pmt}) + Packer(0x200).apart({pmt}) + Packer(0x1FFF).apart({pmt}) +
                             Packer(0).apart(sectionsOf(makePat(5, 1))) +
                             Packer(1).apart(sectionsOf(makeCat(5, 1)));
  const Capture capture = readTransportStream(stream);
  EXPECT_THAT(capture.sections.at(0x02).pids, ElementsAre(0x101, 0x200));
  EXPECT_THAT(capture.sections.at(0x80).pids, ElementsAre(0x300));
  EXPECT_THAT(capture.sections.at(0x82).pids, ElementsAre(0x64));
  EXPECT_EQ(capture.tables.pmts.size(), 1U);
}

TEST(CaptureReader, GoesOnBehindDamage) {
  Packer packer(0);
  const std::string pat = packer.apart(sectionsOf(makePat(5, 2)));
  const Capture capture =
      readTransportStream("junk" + pat + pat + pat + pat + pat + "more junk" + pat + pat + pat +
                          Packer(1).apart(sectionsOf(makeCat(7, 2))) + "\x47" + std::string(99, '\0'));
  EXPECT_EQ(capture.tables.pat, makePat(5, 2));
  EXPECT_EQ(capture.tables.cat, makeCat(7, 2));
  EXPECT_EQ(capture.packets, 9U);
  EXPECT_EQ(capture.input.skippedBytes, 13U);
  EXPECT_EQ(capture.input.resynchronisations, 2U);
  EXPECT_EQ(capture.input.tailBytes, 100U);
}

TEST(CaptureReader, EndsWhenItIsTold) {
  class Endless final : public inputs::PacketSource {
   public:
    inputs::Read read(inputs::Packet& packet, std::chrono::steady_clock::time_point /*deadline*/) override {
      if (++found.packets % 3 == 0) return inputs::Read::kTimeout;
      packet.bytes.fill(0xFF);
      packet.bytes[0] = 0x47;
      return inputs::Read::kPacket;
    }
    const inputs::InputCounts& counts() const override { return found; }
    std::vector<std::string> notes() const override { return {"a note"}; }

   private:
    inputs::InputCounts found;
  };
  Endless source;
  ReadingEnd end;
  int questions = 0;
  end.goesOn = [&questions](const inputs::PacketSource&) { return ++questions < 4; };
  const Capture capture = readTransportStream(source, end);
  EXPECT_EQ(capture.packets, 12U);
  EXPECT_THAT(capture.inputNotes, ElementsAre("a note"));
  end.deadline = ReadingEnd::Clock::now() - std::chrono::seconds(1);
  EXPECT_EQ(readTransportStream(source, end).packets, 12U);
}

TEST(CaptureReader, ImportsSectionsWhoseVersionsAlternate) {
  const auto segment = [](unsigned number, unsigned version) {
    const std::int64_t start = 0xE489000000 + (number / 8 * 3 / 10 << 20) + (number / 8 * 3 % 10 << 16);
    return makeSection(0x50, 7, version, number, 24,
                       eitPayload(number, 0x50, {{static_cast<int>(number) + 1, start}}));
  };
  for (const int rounds : {1, 3}) {
    std::string file;
    for (int round = 0; round < rounds; ++round)
      file += segment(0, 0) + segment(8, 1) + segment(16, 0) + segment(24, 1);
    const Capture capture = readSections(file);
    ASSERT_EQ(capture.tables.eitSchedule.size(), 1U);
    std::vector<int> ids;
    for (const auto& event : capture.tables.eitSchedule[0].events) ids.push_back(event.event_id);
    EXPECT_THAT(ids, ElementsAre(1, 9, 17, 25));
    EXPECT_TRUE(capture.imports.begin()->second.scattered);
    EXPECT_TRUE(capture.imports.begin()->second.whole);
  }
}

TEST(CaptureReader, ImportsPresentAndFollowingThatCountTheirVersionsApart) {
  const std::string present = makeSection(0x4E, 7, 4, 0, 1, eitPayload(1, 0x4E, {{1, 0xE489000000}}));
  const std::string following = makeSection(0x4E, 7, 9, 1, 1, eitPayload(1, 0x4E, {{2, 0xE489010000}}));
  const Capture capture = readSections(present + following + present + following);
  ASSERT_EQ(capture.tables.eitPf.size(), 1U);
  EXPECT_EQ(capture.tables.eitPf[0].events.size(), 2U);
  EXPECT_TRUE(capture.imports.begin()->second.scattered);
}

TEST(CaptureReader, ImportsAVersionThatIsWholeByItself) {
  const auto section = [](unsigned version, unsigned number, unsigned last, int event) {
    return makeSection(0x4E, 7, version, number, last, eitPayload(1, 0x4E, {{event, 0xE489000000}}));
  };
  const Capture capture = readSections(section(1, 1, 1, 9) + section(2, 0, 1, 1) + section(2, 1, 1, 2));
  ASSERT_EQ(capture.tables.eitPf.size(), 1U);
  EXPECT_FALSE(capture.imports.begin()->second.scattered);
  EXPECT_EQ(capture.tables.eitPf[0].events.at(1).event_id, 2);
}

TEST(CaptureReader, RefusesAFileThatEndsWithinASection) {
  const std::string good = sectionsOf(makePat(5, 2))[0];
  EXPECT_EQ(errorOf(""), "the file is empty");
  EXPECT_EQ(errorOf(good + good.substr(0, 10)), "byte 20: a section of 20 bytes, of which only 10 are there");
  EXPECT_EQ(errorOf(good + "\x40"), "byte 20: a section of 3 bytes, of which only 1 are there");
}

}  // namespace
}  // namespace vantor::tables::Capture_test
