#include "programs/monitor/StreamMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "programs/monitor/faults.h"
#include "tests/programs/monitor/packets.h"
#include "tests/programs/streams.h"

namespace vantor::monitor {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MadePacket;
using testing::makeSection;
using testing::Packer;

/// A PAT of programs with their PIDs.
std::string pat(unsigned version, const std::vector<std::pair<unsigned, unsigned>>& programs, unsigned number = 0,
                unsigned last = 0) {
  std::string payload;
  for (const auto& [program, pid] : programs)
    payload += {static_cast<char>(program >> 8), static_cast<char>(program), static_cast<char>(0xE0 | pid >> 8),
                static_cast<char>(pid)};
  return makeSection(0x00, 1, version, number, last, payload);
}

std::string pmt(unsigned program) { return makeSection(0x02, program, 1, 0, 0, {'\xE1', '\x00', '\xF0', '\x00'}); }

/// An EIT without events.
std::string eit(unsigned tableId, unsigned service, unsigned stream, unsigned number = 0, unsigned last = 0,
                unsigned segmentLast = 0) {
  return makeSection(tableId, service, 1, number, last,
                     {static_cast<char>(stream >> 8), static_cast<char>(stream), '\x00', '\x01',
                      static_cast<char>(segmentLast), static_cast<char>(tableId)});
}

std::string sdt(unsigned tableId, unsigned stream) {
  return makeSection(tableId, stream, 1, 0, 0, {'\x20', '\x85', '\xFF'});
}

std::string vct(unsigned tableId, unsigned number = 0, unsigned last = 0) {
  return makeSection(tableId, 1, 1, number, last, {'\x00', '\x00', '\xFC', '\x00'});
}

std::string tdt() { return {'\x70', '\x70', '\x05', 'u', 't', 'c', '-', '-'}; }

std::string tot() {
  return testing::withCrc({'\x73', '\x70', '\x0B', 'u', 't', 'c', '-', '-', '\xF0', '\x00', '.', '.', '.', '.'});
}

class StreamMonitors : public ::testing::Test {
 protected:
  void useTerrestrial() { monitor = std::make_unique<StreamMonitor>(psi::Network::kTerrestrial); }

  /// Sections that come at once, in packets of their own.
  void put(unsigned pid, const std::vector<std::string>& sections) { take(packer(pid).apart(sections)); }
  void put(unsigned pid, const std::string& section) { put(pid, std::vector<std::string>{section}); }

  /// The same, from a time on.
  void putAt(double ms, unsigned pid, const std::string& section) {
    now = time(ms);
    put(pid, section);
  }

  /// Packets, each so much behind the one before.
  void take(const std::string& packets, double ms = 0) {
    for (std::size_t at = 0; at < packets.size(); at += 188) {
      monitor->take(std::string_view(packets).substr(at, 188), hasTimes ? std::optional(now) : std::nullopt);
      now += time(ms);
    }
  }

  void pass(double ms) {
    now = time(ms);
    monitor->pass(now);
  }

  Packer& packer(unsigned pid) { return packers.try_emplace(pid, pid).first->second; }

  TableReport table(const std::string& name) const {
    for (const TableReport& found : monitor->report().tables)
      if (found.name == name) return found;
    throw std::runtime_error("no " + name);
  }

  PidReport pid(unsigned number) const {
    for (const PidReport& found : monitor->report().pids)
      if (found.pid == number) return found;
    throw std::runtime_error("no such PID");
  }

  std::vector<std::string> names() const {
    std::vector<std::string> out;
    for (const TableReport& found : monitor->report().tables) out.push_back(found.name);
    return out;
  }

  std::vector<std::string> faults() const {
    std::vector<std::string> out;
    for (const Fault& fault : faultsOf(monitor->report())) out.push_back(fault.subject + ": " + fault.what);
    return out;
  }

  static std::int64_t time(double ms) { return static_cast<std::int64_t>(ms * 1e6); }

  std::unique_ptr<StreamMonitor> monitor = std::make_unique<StreamMonitor>();
  std::int64_t now = 0;
  bool hasTimes = true;
  std::map<unsigned, Packer> packers;
};

// Packets

TEST_F(StreamMonitors, FollowsWhateverPatCatPmtAndMgtPointAt) {
  const auto ca = [](unsigned pid) {
    return std::string{'\x09', '\x04', '\0', '\1', static_cast<char>(0xE0 | pid >> 8), static_cast<char>(pid)};
  };
  put(0x00, pat(1, {{1, 0x100}}));
  put(0x01, makeSection(0x01, 0xFFFF, 1, 0, 0, ca(0x300)));
  put(0x100, makeSection(0x02, 1, 1, 0, 0,
                         std::string("\xE1\x00\xF0\x06", 4) + ca(0x301) + std::string("\x02\xE1\x01\xF0\x06", 5) +
                             ca(0x302)));
  put(0x1FFB, makeSection(0xC7, 0, 1, 0, 0, std::string("\0\0\1\1\0\xE3\x03\xE1\0\0\0\0\xF0\0\xF0\0", 16)));
  for (const unsigned pid : {0x300U, 0x301U, 0x302U, 0x303U}) put(pid, makeSection(0xCB, pid, 1, 0, 0, "x"));
  for (const unsigned pid : {0x300U, 0x301U, 0x302U, 0x303U})
    EXPECT_THAT(names(), ::testing::Contains("ATSC EIT " + std::to_string(pid)));
}

TEST_F(StreamMonitors, CountsThePacketsOfEachPid) {
  for (int i = 0; i < 1000; ++i) {
    take(MadePacket{0x100, static_cast<unsigned>(i % 16)}.bytes() + MadePacket{0x1FFF}.bytes(), 1);
  }
  pass(2000);
  const Report report = monitor->report();
  EXPECT_EQ(report.packets, 2000U);
  EXPECT_EQ(report.elapsed, time(2000));
  EXPECT_NEAR(report.kbps, 1504, 1);
  EXPECT_NEAR(report.meanKbps, 1504, 1);
  EXPECT_EQ(pid(0x100).packets, 1000U);
  EXPECT_NEAR(pid(0x100).kbps, 752, 1);
  EXPECT_NEAR(pid(0x1FFF).meanKbps, 752, 1);
  EXPECT_THAT(faults(), IsEmpty()) << "null packets have no counter";
}

TEST_F(StreamMonitors, NamesWhatIsWrongWithThePacketsOfAPid) {
  take(MadePacket{0x100, 0}.bytes() + MadePacket{0x100, 2}.bytes() + MadePacket{0x100, 2}.bytes());
  MadePacket broken{0x200, 5};
  broken.transportError = true;
  MadePacket scrambled{0x300, 5};
  scrambled.scrambled = true;
  take(MadePacket{0x200, 0}.bytes() + broken.bytes() + MadePacket{0x200, 9}.bytes() + scrambled.bytes());
  EXPECT_EQ(pid(0x100).continuityErrors, 1U);
  EXPECT_EQ(pid(0x100).doubled, 1U);
  EXPECT_EQ(pid(0x200).transportErrors, 1U);
  EXPECT_EQ(pid(0x200).continuityErrors, 0U) << "behind a packet that cannot be relied on";
  EXPECT_EQ(pid(0x300).scrambled, 1U);
  EXPECT_THAT(faults(),
              ElementsAre("PID 0x0100: 1 continuity error", "PID 0x0200: 1 packet with transport_error_indicator"));
}

TEST_F(StreamMonitors, LooksForSectionsOnlyWhereTheyAre) {
  std::string packets = Packer(0x300).apart({pmt(1)});
  take(packets);
  EXPECT_THAT(names(), IsEmpty());
}

// Tables

TEST_F(StreamMonitors, MeasuresFromTheLastByteOfASectionToThatOfItsNextSending) {
  const std::string sent = makeSection(0x40, 1, 3, 0, 0, std::string(400, 'x'));  // three packets
  take(packer(0x10).apart({sent}), 10);                                           // ends at 20
  now = time(1000);
  take(packer(0x10).apart({sent}), 50);  // ends at 1100
  now = time(1500);
  take(packer(0x10).apart({sent}), 10);  // ends at 1520
  const TableReport nit = table("NIT actual");
  EXPECT_EQ(nit.pid, 0x10);
  EXPECT_EQ(nit.version, 3);
  EXPECT_EQ(nit.sectionsSeen, 1U);
  EXPECT_EQ(nit.received, 3U);
  EXPECT_EQ(nit.bytes, sent.size());
  EXPECT_EQ(nit.intervals, 2U);
  EXPECT_EQ(nit.minimum, time(420));
  EXPECT_EQ(nit.mean, time(750));
  EXPECT_EQ(nit.maximum, time(1080));
  EXPECT_EQ(nit.shortestGap, time(400)) << "from 1100 to 1500";
  EXPECT_EQ(nit.limit->maximum, 10000U);
}

TEST_F(StreamMonitors, MeasuresEachSectionOfATableByItself) {
  for (const double ms : {0., 1000., 2000.}) {
    putAt(ms, 0x10, makeSection(0x40, 1, 1, 0, 1, "first"));
    putAt(ms + 300, 0x10, makeSection(0x40, 1, 1, 1, 1, "second"));
  }
  const TableReport nit = table("NIT actual");
  EXPECT_EQ(nit.sectionsSeen, 2U);
  EXPECT_EQ(nit.lastSection, 1U);
  EXPECT_EQ(nit.minimum, time(1000));
  EXPECT_EQ(nit.maximum, time(1000));
  EXPECT_EQ(nit.intervals, 4U);
  EXPECT_EQ(nit.shortestGap, time(300));
}

TEST_F(StreamMonitors, ALimitIsBrokenOnlyAboveIt) {
  struct Case {
    unsigned pid;
    std::string section;
    const char* name;
    double limit;
  };
  const std::vector<Case> cases{
      {0x00, pat(1, {}), "PAT", 500},
      {0x10, makeSection(0x40, 1, 1, 0, 0, "x"), "NIT actual", 10000},
      {0x10, makeSection(0x41, 1, 1, 0, 0, "x"), "NIT other 1", 10000},
      {0x11, sdt(0x42, 1), "SDT actual", 2000},
      {0x11, sdt(0x46, 2), "SDT other 2/8325", 10000},
      {0x11, makeSection(0x4A, 1, 1, 0, 0, "x"), "BAT 1", 10000},
      {0x12, eit(0x4E, 1, 1), "EIT p/f actual 1", 2000},
      {0x12, eit(0x4F, 1, 2), "EIT p/f other 1", 10000},
      {0x12, eit(0x50, 1, 1), "EIT schedule actual 50 1", 10000},
      {0x12, eit(0x62, 1, 2), "EIT schedule other 62 1", 30000},
      {0x14, tdt(), "TDT", 30000},
      {0x14, tot(), "TOT", 30000},
      {0x1FFB, makeSection(0xC7, 0, 1, 0, 0, {'\0', '\0', '\0'}), "ATSC MGT", 150},
      {0x1FFB, vct(0xC8), "ATSC VCT terrestrial", 400},
      {0x1FFB, vct(0xC9), "ATSC VCT cable", 400},
      {0x1FFB, makeSection(0xCD, 0, 0, 0, 0, "seconds"), "ATSC STT", 1000},
  };
  for (const Case& of : cases) {
    monitor = std::make_unique<StreamMonitor>();
    putAt(0, of.pid, of.section);
    putAt(of.limit, of.pid, of.section);
    ASSERT_NO_THROW(table(of.name)) << of.name << ::testing::PrintToString(names());
    EXPECT_THAT(faults(), IsEmpty()) << of.name;
    EXPECT_EQ(table(of.name).limit->maximum, of.limit) << of.name;
    putAt(2 * of.limit + 0.001, of.pid, of.section);
    EXPECT_EQ(table(of.name).late, 1U) << of.name;
    EXPECT_EQ(faults().size(), 1U) << of.name;
  }
}

TEST_F(StreamMonitors, SaysHowLongItWasAndWhoseLimitIsBroken) {
  putAt(0, 0x00, pat(1, {}));
  putAt(620, 0x00, pat(1, {}));
  EXPECT_THAT(
      faults(),
      ElementsAre("PAT on PID 0x0000: 620.0 ms of 500 ms (TR 101 290) from one sending to the next, too long "
                  "once"));
}

TEST_F(StreamMonitors, WhatStopsComingIsLateAsTimeGoesBy) {
  putAt(0, 0x00, pat(1, {}));
  pass(500);
  EXPECT_THAT(faults(), IsEmpty());
  pass(501);
  EXPECT_THAT(faults(), ElementsAre("PAT on PID 0x0000: came last 501.0 ms ago, of 500 ms (TR 101 290)"));
  EXPECT_EQ(table("PAT").silence, time(501));
  putAt(900, 0x00, pat(1, {}));
  EXPECT_EQ(table("PAT").silence, 0);
  EXPECT_EQ(table("PAT").late, 1U) << "it is not forgotten";
}

TEST_F(StreamMonitors, ASectionThatNeverComesIsMissed) {
  putAt(0, 0x10, makeSection(0x40, 1, 1, 0, 1, "first of two"));
  putAt(9000, 0x10, makeSection(0x40, 1, 1, 0, 1, "first of two"));
  EXPECT_THAT(faults(), IsEmpty());
  pass(10001);
  EXPECT_THAT(faults(),
              ElementsAre(HasSubstr("NIT actual on PID 0x0010: has not come for 10001.0 ms, of 10000 ms")));
}

TEST_F(StreamMonitors, OfAScheduleOnlySectionsOfItsSegmentsAreMissed) {
  for (const unsigned tableId : {0x50U, 0x60U}) {
    monitor = std::make_unique<StreamMonitor>();
    putAt(0, 0x12, eit(tableId, 1, 1, 8, 24, 9));  // the second segment has two sections
    for (int i = 1; i <= 2; ++i) {
      putAt(i * 6000, 0x12, eit(tableId, 1, 1, 8, 24, 9));
      if (i == 1) putAt(6500, 0x12, eit(tableId, 1, 1, 9, 24, 9));
    }
    EXPECT_THAT(faults(), IsEmpty());
    pass(16600);
    EXPECT_EQ(faults().size(), 1U) << "section 9 came at 6500 and has not come again";
  }
}

TEST_F(StreamMonitors, AnEitPfLacksItsFollowingSection) {
  putAt(0, 0x12, eit(0x4E, 1, 1, 0, 1));
  putAt(2000, 0x12, eit(0x4E, 1, 1, 0, 1));
  EXPECT_THAT(faults(), IsEmpty());
  pass(2001);
  EXPECT_EQ(faults().size(), 1U);
}

TEST_F(StreamMonitors, TellsVersionsAndMeasuresAcrossThem) {
  putAt(0, 0x10, makeSection(0x40, 1, 30, 0, 1, "x"));
  putAt(100, 0x10, makeSection(0x40, 1, 30, 1, 1, "x"));
  putAt(1000, 0x10, makeSection(0x40, 1, 31, 0, 0, "longer"));
  EXPECT_EQ(table("NIT actual").version, 31);
  EXPECT_EQ(table("NIT actual").versionChanges, 1U);
  EXPECT_EQ(table("NIT actual").sectionsSeen, 1U);
  EXPECT_EQ(table("NIT actual").intervals, 1U);
  EXPECT_EQ(table("NIT actual").maximum, time(1000));
  putAt(10500, 0x10, makeSection(0x40, 1, 31, 0, 0, "longer"));
  pass(11000);
  EXPECT_THAT(faults(), IsEmpty()) << "the new version has no second section";
}

TEST_F(StreamMonitors, SectionsOfTheVersionBeforeAreNotThoseOfThisOne) {
  for (const unsigned number : {0U, 1U}) put(0x10, makeSection(0x40, 1, 3, number, 1, "x"));
  EXPECT_EQ(table("NIT actual").sectionsSeen, 2U);
  put(0x10, makeSection(0x40, 1, 4, 1, 1, "x"));
  EXPECT_EQ(table("NIT actual").sectionsSeen, 1U);
}

TEST_F(StreamMonitors, WhatIsAnnouncedIsNotInForce) {
  std::string next = makeSection(0x40, 1, 2, 0, 0, "next");
  next[5] = static_cast<char>(next[5] & ~1);
  next = testing::withCrc(next);
  putAt(0, 0x10, makeSection(0x40, 1, 1, 0, 0, "now"));
  putAt(100, 0x10, next);
  putAt(200, 0x10, makeSection(0x40, 1, 1, 0, 0, "now"));
  EXPECT_EQ(table("NIT actual").version, 1);
  EXPECT_EQ(table("NIT actual").versionChanges, 0U);
  EXPECT_EQ(table("NIT actual").maximum, time(200));
}

TEST_F(StreamMonitors, KeepsTablesApart) {
  put(0x11, {sdt(0x42, 1), sdt(0x46, 1), sdt(0x46, 2), makeSection(0x4A, 1, 1, 0, 0, "x")});
  put(0x12, {eit(0x4E, 7, 1), eit(0x4F, 7, 2), eit(0x4F, 7, 3), eit(0x50, 7, 1), eit(0x51, 7, 1), eit(0x60, 7, 2),
             eit(0x60, 7, 3)});
  put(0x14, {tdt(), tot()});
  put(0x1FFB, {vct(0xC8), vct(0xC9)});
  EXPECT_THAT(names(), ElementsAre("SDT actual", "SDT other 1/8325", "SDT other 2/8325", "BAT 1",
                                   "EIT p/f actual 7", "EIT p/f other 7 of 2/1", "EIT p/f other 7 of 3/1",
                                   "EIT schedule actual 50 7", "EIT schedule actual 51 7",
                                   "EIT schedule other 60 7 of 2/1", "EIT schedule other 60 7 of 3/1", "TDT", "TOT",
                                   "ATSC VCT terrestrial", "ATSC VCT cable"));
}

TEST_F(StreamMonitors, WhereAnExtensionIsReservedItMayBeAnything) {
  put(0x01, {makeSection(0x01, 0xFFFF, 1, 0, 0, ""), makeSection(0x01, 0, 1, 0, 0, "")});
  EXPECT_THAT(names(), ElementsAre("CAT"));
}

TEST_F(StreamMonitors, OnTerrestrialNetworksEitsOfOtherStreamsHaveMoreTime) {
  useTerrestrial();
  putAt(0, 0x12, eit(0x4F, 1, 2));
  putAt(20000, 0x12, eit(0x4F, 1, 2));
  EXPECT_THAT(faults(), IsEmpty());
}

// The distance

TEST_F(StreamMonitors, TwentyFiveMillisecondsAreBetweenSectionsOfATable) {
  putAt(0, 0x11, sdt(0x42, 1));
  putAt(25, 0x11, sdt(0x42, 1));
  EXPECT_THAT(faults(), IsEmpty());
  putAt(45, 0x11, sdt(0x42, 1));
  EXPECT_THAT(faults(), ElementsAre("SDT actual on PID 0x0011: 20.0 ms of 25 ms (EN 300 468 clause 5.1.4.1) to the "
                                    "section before, too short once"));
}

TEST_F(StreamMonitors, TheDistanceIsFromTheLastByteToTheFirst) {
  const std::string sent = makeSection(0x42, 1, 1, 0, 0, std::string(400, 'x'));
  take(packer(0x11).apart({sent}), 15);  // ends at 30
  now = time(50);
  take(packer(0x11).apart({sent}), 15);
  EXPECT_EQ(table("SDT actual").shortestGap, time(20));
}

TEST_F(StreamMonitors, OtherTablesAndOtherExtensionsNeedNoDistance) {
  put(0x11, {sdt(0x42, 1), sdt(0x46, 1), sdt(0x46, 2), makeSection(0x4A, 1, 1, 0, 0, "x")});
  put(0x12, {eit(0x4E, 1, 1), eit(0x4E, 2, 1), eit(0x50, 1, 1), eit(0x51, 1, 1)});
  EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(StreamMonitors, TheDistanceIsAlsoBetweenSectionsOfOneTableAndBetweenStreamsOfOneService) {
  putAt(0, 0x10, makeSection(0x40, 1, 1, 0, 1, "x"));
  putAt(10, 0x10, makeSection(0x40, 1, 1, 1, 1, "x"));
  EXPECT_EQ(faults().size(), 1U);
  putAt(1000, 0x12, eit(0x4F, 7, 2));
  putAt(1010, 0x12, eit(0x4F, 7, 3));
  EXPECT_THAT(faults(), ::testing::Contains(HasSubstr("EIT p/f other 7 of 3/1 on PID 0x0012: 10.0 ms of 25 ms")));
}

TEST_F(StreamMonitors, PsipKeepsNoDistance) {
  put(0x1FFB, {vct(0xC8, 0, 1), vct(0xC8, 1, 1)});
  EXPECT_THAT(faults(), IsEmpty());
  EXPECT_FALSE(table("ATSC VCT terrestrial").shortestGap);
}

// Broken sections

TEST_F(StreamMonitors, AWrongCrcCountsForItsTableAndItsPid) {
  put(0x11, sdt(0x42, 1));
  put(0x11, sdt(0x46, 2));
  std::string flipped = sdt(0x42, 1);
  flipped[10] = static_cast<char>(flipped[10] ^ 1);
  putAt(100, 0x11, flipped);
  EXPECT_EQ(table("SDT actual").crcErrors, 1U);
  EXPECT_EQ(table("SDT other 2/8325").crcErrors, 0U);
  EXPECT_EQ(table("SDT actual").received, 1U);
  EXPECT_EQ(pid(0x11).crcErrors, 1U);
  EXPECT_THAT(faults(), ElementsAre("SDT actual on PID 0x0011: 1 section with a wrong CRC"));
}

TEST_F(StreamMonitors, AWrongCrcOfNoTableThatWasSeenCountsForItsPidAlone) {
  std::string flipped = sdt(0x42, 1);
  flipped[10] = static_cast<char>(flipped[10] ^ 1);
  put(0x11, flipped);
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(pid(0x11).crcErrors, 1U);
  EXPECT_THAT(faults(), ElementsAre("PID 0x0011: 1 section of an unknown table with a wrong CRC"));
}

TEST_F(StreamMonitors, AWrongHeadIsASyntaxError) {
  put(0x10, makeSection(0x40, 1, 1, 2, 1, "section 2 of 0 to 1"));
  EXPECT_EQ(pid(0x10).syntaxErrors, 1U);
  EXPECT_THAT(faults(), ElementsAre("PID 0x0010: 1 section with a wrong length or head"));
}

TEST_F(StreamMonitors, AMissingPacketCutsItsSection) {
  std::string packets = packer(0x10).apart({makeSection(0x40, 1, 1, 0, 0, std::string(400, 'x'))});
  packets.erase(188, 188);
  take(packets);
  EXPECT_EQ(pid(0x10).cutSections, 1U);
  EXPECT_EQ(pid(0x10).continuityErrors, 1U);
}

// Programs

TEST_F(StreamMonitors, PmtsAreAwaitedFromThePatOn) {
  putAt(0, 0x00, pat(1, {{0, 0x10}, {101, 0x100}, {102, 0x200}}));
  putAt(400, 0x100, pmt(101));
  putAt(450, 0x00, pat(1, {{0, 0x10}, {101, 0x100}, {102, 0x200}}));
  EXPECT_THAT(names(), ElementsAre("PAT", "PMT 101", "PMT 102"));
  EXPECT_THAT(faults(), IsEmpty());
  pass(501);
  EXPECT_THAT(faults(), ElementsAre("PMT 102 on PID 0x0200: has not come for 501.0 ms, of 500 ms (TR 101 290)"));
  putAt(600, 0x200, pmt(102));
  EXPECT_THAT(faults(), ElementsAre(HasSubstr("PMT 102 on PID 0x0200: 600.0 ms of 500 ms")));
}

TEST_F(StreamMonitors, APmtThatThePatDoesNotListAnyLongerIsNotAwaited) {
  putAt(0, 0x00, pat(1, {{101, 0x100}, {102, 0x200}}));
  putAt(10, 0x100, pmt(101));
  putAt(20, 0x200, pmt(102));
  putAt(100, 0x00, pat(2, {{101, 0x100}}));
  putAt(500, 0x100, pmt(101));
  putAt(550, 0x00, pat(2, {{101, 0x100}}));
  pass(900);
  EXPECT_THAT(faults(), IsEmpty());
  EXPECT_FALSE(table("PMT 102").isListed);
  putAt(950, 0x00, pat(3, {{101, 0x100}, {102, 0x200}}));
  EXPECT_TRUE(table("PMT 102").isListed);
  pass(990);
  EXPECT_THAT(faults(), IsEmpty()) << "it is awaited from now on";
}

TEST_F(StreamMonitors, APatOfTwoSectionsListsTheProgramsOfBoth) {
  putAt(0, 0x00, pat(1, {{101, 0x100}}, 0, 1));
  putAt(30, 0x00, pat(1, {{102, 0x200}}, 1, 1));
  EXPECT_TRUE(table("PMT 101").isListed);
  EXPECT_TRUE(table("PMT 102").isListed);
  putAt(60, 0x00, pat(2, {{101, 0x100}}, 0, 1));
  EXPECT_TRUE(table("PMT 102").isListed) << "the second section of the new version is still to come";
  putAt(90, 0x00, pat(2, {}, 1, 1));
  EXPECT_FALSE(table("PMT 102").isListed);
}

// Times

TEST_F(StreamMonitors, WithoutTimesIntervalsAreNotJudged) {
  hasTimes = false;
  for (int i = 0; i < 3; ++i) put(0x11, sdt(0x42, 1));
  const TableReport report = table("SDT actual");
  EXPECT_EQ(report.received, 3U);
  EXPECT_EQ(report.intervals, 0U);
  EXPECT_FALSE(report.shortestGap);
  EXPECT_EQ(monitor->report().elapsed, 0);
  EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(StreamMonitors, TimeNeverRunsBack) {
  putAt(1000, 0x00, pat(1, {}));
  putAt(1400, 0x00, pat(1, {}));
  putAt(200, 0x00, pat(1, {}));
  EXPECT_EQ(table("PAT").minimum, 0);
  EXPECT_EQ(monitor->report().elapsed, time(400));
}

TEST_F(StreamMonitors, TimeBeforeTheFirstPacketDoesNotCount) {
  pass(1000);
  EXPECT_EQ(monitor->report().elapsed, 0);
  putAt(5000, 0x00, pat(1, {}));
  pass(6000);
  EXPECT_EQ(monitor->report().elapsed, time(1000));
  EXPECT_NEAR(monitor->report().meanKbps, 1.504, 1e-9);
}

TEST_F(StreamMonitors, AStreamWithoutPacketsIsNotAsItShouldBe) {
  EXPECT_THAT(faults(), ElementsAre("input: no packet"));
}

TEST_F(StreamMonitors, TheWorstComesFirst) {
  putAt(0, 0x00, pat(1, {}));
  putAt(0, 0x11, sdt(0x42, 1));
  pass(2600);  // the PAT 5.2 times its limit, the SDT 1.3 times
  const auto found = faults();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_THAT(found[0], HasSubstr("PAT"));
  EXPECT_THAT(found[1], HasSubstr("SDT"));
}

}  // namespace
}  // namespace vantor::monitor
