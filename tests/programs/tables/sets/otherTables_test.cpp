#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/inputFile.h"
#include "tests/programs/captures.h"
#include "tests/programs/streams.h"

/// What no kind takes from a capture is kept as whole sections.

namespace vantor::tables::otherTables_test {
namespace {

using namespace vantor::testing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

using Kept = std::map<int, std::vector<std::string>>;

/// The sections that are kept, by PID.
Kept keptIn(const Capture& capture) {
  Kept kept;
  for (const auto& item : capture.tables.sections)
    for (const auto& section : item.sections) kept[item.pid].push_back(section);
  return kept;
}

std::string privateSection(unsigned extension = 1, unsigned version = 0, unsigned number = 0, unsigned last = 0,
                           const std::string& payload = "private") {
  return makeSection(0x90, extension, version, number, last, payload);
}

std::string shortSection(unsigned tableId, const std::string& payload) {
  return std::string{static_cast<char>(tableId), '\x70', static_cast<char>(payload.size())} + payload;
}

/// A PMT of program 1 with streams of these types on these PIDs, and the PAT that names its PID 0x101.
std::string program(const std::vector<std::pair<int, unsigned>>& streams) {
  std::string body("\xFF\xFF\xF0\x00", 4);
  for (const auto& [type, pid] : streams)
    body += {static_cast<char>(type), static_cast<char>(0xE0 | pid >> 8), static_cast<char>(pid), '\xF0', '\0'};
  return Packer(0).apart(sectionsOf(makePat(5, 1))) + Packer(0x101).apart({makeSection(0x02, 1, 0, 0, 0, body)});
}

/// A packet in which an elementary stream's packet begins.
std::string pesPacket(unsigned pid) {
  std::string packet = Packer(pid).apart({"x"});
  packet.replace(4, 4, std::string("\0\0\1\xE0", 4));
  return packet;
}

TEST(OtherTables, OfReservedPidsAreKept) {
  const std::string rst = shortSection(0x71, "123456789");
  const std::string dit = shortSection(0x7E, "1");
  const std::string tsdt = makeSection(0x03, 0xFFFF, 1, 0, 0, "");
  const std::string rrt = makeSection(0xCA, 0xFF01, 1, 0, 0, "");
  const Capture capture = readTransportStream(Packer(0x02).apart({tsdt}) + Packer(0x13).apart({rst}) +
                                              Packer(0x1E).apart({dit}) + Packer(0x1FFB).apart({rrt}));
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x02, ElementsAre(tsdt)), Pair(0x13, ElementsAre(rst)),
                                           Pair(0x1E, ElementsAre(dit)), Pair(0x1FFB, ElementsAre(rrt))));
  EXPECT_THAT(capture.imports, SizeIs(4));
  for (const auto& [key, import] : capture.imports) EXPECT_TRUE(import.asSections);
  EXPECT_TRUE(capture.leftOut.empty());
}

TEST(OtherTables, OfAKindOnAForeignPidAreKept) {
  const auto pat = sectionsOf(makePat(5, 2));
  const Capture capture = readTransportStream(Packer(0x10).apart(pat));
  EXPECT_FALSE(capture.tables.pat);
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x10, pat)));
}

TEST(OtherTables, OfPidsThatNothingNamesAreKeptWhenTheyHaveACrc) {
  const Capture capture = readTransportStream(Packer(0x300).apart({privateSection()}) +
                                              Packer(0x301).apart({shortSection(0x90, "no CRC")}) +
                                              Packer(0x302).apart(sectionsOf(makePmt(7, 1))));
  EXPECT_THAT(keptIn(capture),
              ElementsAre(Pair(0x300, ElementsAre(privateSection())), Pair(0x302, sectionsOf(makePmt(7, 1)))));
  EXPECT_THAT(capture.tables.pmts, IsEmpty()) << "no PAT names it";
  EXPECT_THAT(capture.otherPids, ElementsAre(0x301));
  EXPECT_EQ(capture.otherPackets, 1U);
  EXPECT_TRUE(capture.faults.empty());
}

TEST(OtherTables, OfAPidThatIsScrambledAreNone) {
  Packer packer(0x300);
  const std::string clear = packer.apart({privateSection()});
  std::string scrambled = packer.apart({privateSection()});
  EXPECT_THAT(keptIn(readTransportStream(clear + scrambled)),
              ElementsAre(Pair(0x300, ElementsAre(privateSection()))));
  scrambled[3] = static_cast<char>(scrambled[3] | 0x80);
  const Capture capture = readTransportStream(clear + scrambled);
  EXPECT_THAT(keptIn(capture), IsEmpty());
  EXPECT_THAT(capture.otherPids, ElementsAre(0x300));
}

TEST(OtherTables, OfStreamsThatAreSectionsNeedNoCrc) {
  for (const int type : {0x05, 0x0A, 0x0B, 0x0C, 0x0D, 0x14, 0x16, 0x86}) {
    const Capture capture =
        readTransportStream(program({{type, 0x300}}) + Packer(0x300).apart({shortSection(0x90, "a")}));
    EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x300, ElementsAre(shortSection(0x90, "a"))))) << type;
  }
  for (const int type : {0x02, 0x06, 0x1B}) {
    const Capture capture =
        readTransportStream(program({{type, 0x300}}) + Packer(0x300).apart({shortSection(0x90, "a")}));
    EXPECT_THAT(keptIn(capture), IsEmpty()) << type;
  }
}

TEST(OtherTables, AreNotLookedForInElementaryStreams) {
  const std::string sections = Packer(0x300).apart({privateSection(), shortSection(0x90, "a")});
  for (const std::string& stream : {pesPacket(0x300) + sections, pesPacket(0x300)}) {
    const Capture capture = readTransportStream(program({{0x86, 0x300}}) + stream);
    EXPECT_THAT(keptIn(capture), IsEmpty());
    EXPECT_THAT(capture.otherPids, ElementsAre(0x300));
    EXPECT_TRUE(capture.faults.empty());
  }
}

TEST(OtherTables, ThatComeAgainAreThereOnce) {
  Packer packer(0x300);
  const std::string once = packer.apart({privateSection(1), privateSection(2)});
  const Capture capture = readTransportStream(once + packer.apart({privateSection(1), privateSection(2)}));
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x300, ElementsAre(privateSection(1), privateSection(2)))));
  EXPECT_EQ(capture.sections.at(0x90).count, 4U);
}

TEST(OtherTables, OfSeveralVersionsTheLatestWholeOneIsKept) {
  const auto version = [](unsigned number, unsigned of) { return privateSection(1, number, of, 1); };
  const Capture capture = readTransportStream(
      Packer(0x300).apart({version(1, 0), version(1, 1), version(2, 0), version(2, 1), version(3, 0)}));
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x300, ElementsAre(version(2, 0), version(2, 1)))));
  EXPECT_EQ(capture.imports.begin()->second.versions, 2U);
}

TEST(OtherTables, ThatNeverAreWholeAreKeptAsFarAsTheyAreThere) {
  const Capture capture = readTransportStream(Packer(0x300).apart({privateSection(1, 1, 1, 2)}));
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x300, ElementsAre(privateSection(1, 1, 1, 2)))));
  EXPECT_FALSE(capture.imports.begin()->second.whole);
}

TEST(OtherTables, WithoutVersionStandSideBySide) {
  const std::string one = shortSection(0x82, "for one");
  const std::string another = shortSection(0x82, "for another");
  const std::string ca("\x09\x04\x0B\x00\xE0\x64", 6);  // EMMs on PID 0x64
  const Capture capture = readTransportStream(Packer(1).apart({makeSection(0x01, 0xFFFF, 0, 0, 0, ca)}) +
                                              Packer(0x64).apart({one, another, one}));
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x64, ElementsAre(one, another))));
}

TEST(OtherTables, ThatTellOfAMomentAreTheLatest) {
  for (const unsigned tableId : {0x71U, 0x7EU, 0xFCU}) {
    const std::string last = shortSection(tableId, "the last");
    const Capture capture = readTransportStream(program({{0x05, 0x300}}) +
                                                Packer(0x300).apart({shortSection(tableId, "the first"), last}));
    EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x300, ElementsAre(last)))) << tableId;
  }
}

TEST(OtherTables, AreNoMoreThan256OfOneTable) {
  std::vector<std::string> sections;
  for (int i = 0; i < 258; ++i) sections.push_back(shortSection(0x82, "EMM " + std::to_string(i)));
  const Capture capture = readTransportStream(program({{0x05, 0x300}}) + Packer(0x300).apart(sections));
  ASSERT_THAT(capture.tables.sections, SizeIs(1));
  EXPECT_THAT(capture.tables.sections[0].sections, SizeIs(256));
  EXPECT_EQ(capture.tables.sections[0].sections[0], sections[2]);
  EXPECT_THAT(capture.leftOut, ElementsAre("EMM: more than 256 different sections, the last ones are kept"));
}

TEST(OtherTables, AreToldApartByTheirPids) {
  const Capture capture = readTransportStream(Packer(0x300).apart({privateSection(1, 0)}) +
                                              Packer(0x301).apart({privateSection(1, 1)}));
  EXPECT_THAT(capture.tables.sections, SizeIs(2));
}

// --- Files of sections ------------------------------------------------------------------------------------------

thrift::dvb_tables::MGT makeMgt(const std::vector<std::tuple<int, int, int, int>>& tables) {
  thrift::dvb_tables::MGT mgt;
  for (const auto& [type, pid, version, bytes] : tables) {
    auto& table = mgt.tables.emplace_back();
    table.table_type = type;
    table.table_type_pid = pid;
    table.table_type_version_number = static_cast<std::int16_t>(version);
    table.number_bytes = bytes;
  }
  return mgt;
}

std::string eit(unsigned source, unsigned version, const std::string& payload = "events") {
  return makeSection(0xCB, source, version, 0, 0, payload);
}

std::string ett(unsigned extension, unsigned version, const std::string& etmId) {
  return makeSection(0xCC, extension, version, 0, 0, std::string(1, '\0') + etmId);
}

TEST(OtherTablesOfAFile, HaveThePidThatTheStandardsGiveThem) {
  const std::string tsdt = makeSection(0x03, 0xFFFF, 1, 0, 0, "");
  const std::string rrt = makeSection(0xCA, 0xFF01, 1, 0, 0, "");
  const Capture capture = readSections(tsdt + rrt + shortSection(0x71, "1"));
  EXPECT_THAT(keptIn(capture),
              ElementsAre(Pair(0x02, ElementsAre(tsdt)), Pair(0x13, SizeIs(1)), Pair(0x1FFB, ElementsAre(rrt))));
}

TEST(OtherTablesOfAFile, HaveThePidOfTheMgtsTableWithTheirVersionAndSize) {
  const std::string mgt =
      sectionsOf(makeMgt({{0x0100, 0x1D00, 3, 36}, {0x0101, 0x1D01, 7, 18}, {0x0102, 0x1D02, 3, 18}}))[0];
  const Capture capture = readSections(eit(1, 7) + eit(1, 3) + eit(2, 3) + eit(2, 3, "others") + mgt);
  EXPECT_THAT(keptIn(capture),
              ElementsAre(Pair(0x1D00, ElementsAre(eit(1, 3), eit(2, 3))), Pair(0x1D01, ElementsAre(eit(1, 7))),
                          Pair(0x1D02, ElementsAre(eit(2, 3, "others")))));
}

TEST(OtherTablesOfAFile, ThatAreTooManyForOneOfTheMgtsTablesAreInTheNext) {
  const std::string mgt = sectionsOf(makeMgt({{0x0100, 0x1D00, 3, 20}, {0x0101, 0x1D01, 3, 20}}))[0];
  const Capture capture = readSections(mgt + eit(1, 3) + eit(2, 3));
  EXPECT_THAT(keptIn(capture),
              ElementsAre(Pair(0x1D00, ElementsAre(eit(1, 3))), Pair(0x1D01, ElementsAre(eit(2, 3)))));
}

TEST(OtherTablesOfAFile, OfAnEarlierVersionMakeWayForTheLatest) {
  const std::string mgt = sectionsOf(makeMgt({{0x0200, 0x1E00, 3, 100}, {0x0201, 0x1E01, 3, 100}}))[0];
  const Capture capture = readSections(mgt + ett(1, 2, "ETM1") + ett(1, 3, "ETM1") + ett(1, 2, "ETM2"));
  EXPECT_THAT(keptIn(capture), ElementsAre(Pair(0x1E00, ElementsAre(ett(1, 3, "ETM1"))),
                                           Pair(0x1E01, ElementsAre(ett(1, 2, "ETM2")))));
}

TEST(OtherTablesOfAFile, HaveThePidOfAPmtsStreamForThem) {
  const auto pmt = [](int type) {
    thrift::dvb_tables::PMT record = makePmt(1, 1);
    record.streams[0].stream_type = static_cast<std::int16_t>(type);
    record.streams[0].elementary_pid = 0x321;
    return sectionsOf(record)[0];
  };
  const std::string ait = makeSection(0x74, 1, 0, 0, 0, "application");
  const std::string dsmCc = makeSection(0x3B, 1, 0, 0, 0, "carousel");
  EXPECT_THAT(keptIn(readSections(pmt(0x05) + ait + dsmCc)), ElementsAre(Pair(0x321, ElementsAre(ait))));
  EXPECT_THAT(keptIn(readSections(pmt(0x0B) + ait + dsmCc)), ElementsAre(Pair(0x321, ElementsAre(dsmCc))));
}

TEST(OtherTablesOfAFile, AreLeftOutWhenNothingTellsTheirPid) {
  const Capture capture = readSections(privateSection(1) + privateSection(2) + eit(1, 3));
  EXPECT_THAT(keptIn(capture), IsEmpty());
  EXPECT_THAT(
      capture.leftOut,
      ElementsAre("ATSC EIT left out: a file of sections has no PIDs, and nothing else tells its own",
                  "table id 0x90 left out: a file of sections has no PIDs, and nothing else tells its own"));
}

// --- Leaving them out ------------------------------------------------------------------------------------------

TEST(LeavingOutSections, LeavesWhatHasAKindOfItsOwn) {
  InputFile input;
  input.capture = readSections(sectionsOf(makeNit(5, 2))[0] + makeSection(0x4A, 1, 0, 0, 0, "no BAT") +
                               makeSection(0x4A, 2, 0, 0, 0, std::string("\xF0\0\xF0\0", 4)));
  input.tables = std::exchange(input.capture->tables, {});
  leaveOutSections(input);
  EXPECT_THAT(input.tables.sections, IsEmpty());
  EXPECT_THAT(input.tables.bats, SizeIs(1));
  EXPECT_TRUE(input.tables.nit);
  EXPECT_THAT(input.capture->imports, SizeIs(2));
  EXPECT_EQ(input.capture->imports.count({{0x4A, 1, 0, 0}, 0}), 0U);
}

}  // namespace
}  // namespace vantor::tables::otherTables_test
