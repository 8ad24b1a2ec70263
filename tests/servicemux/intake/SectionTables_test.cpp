#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/thread/exceptions.hpp>
#include <map>

#include "tests/servicemux/doubles/MutexCreation.h"
#include "tests/servicemux/front/Intake.h"
#include "tests/servicemux/front/wholeSections.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vantor::TimingProfile;

constexpr unsigned short kBatPid = 0x11;
constexpr unsigned short kOwnPid = 0x300;

class SectionTables : public Intake {
 protected:
  /// True once a section of this table_id has been sent on the PID in this version.
  bool isTableSent(unsigned short pid, unsigned char table_id, int version) {
    return sender.await([=](const std::string& packet) {
      return pidOf(packet) == pid && startsPayloadUnit(packet) && byteAt(packet, kSection) == table_id &&
             versionOf(packet) == version;
    });
  }

  /// True once a whole section has been sent after the packets so far.
  bool isSentAnew(unsigned short pid, unsigned char table_id) {
    const std::size_t before = sender.packets().size();
    std::size_t seen = 0;
    return sender.await([&](const std::string& packet) {
      return ++seen > before && pidOf(packet) == pid && startsPayloadUnit(packet) &&
             byteAt(packet, kSection) == table_id;
    });
  }

  void awaitLine(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::vector<std::string> all;
    while (std::chrono::steady_clock::now() < deadline) {
      for (const std::string& line : lines()) all.push_back(line);
      if (std::any_of(all.begin(), all.end(), [&](const auto& line) { return line == text; })) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ADD_FAILURE() << text << " is not among " << testing::PrintToString(all);
  }

  /// The counters of a PID that do not follow the one before.
  std::vector<std::string> breaks(unsigned short pid) {
    std::vector<std::string> found;
    int last = -1;
    for (const std::string& packet : sender.packets()) {
      if (pidOf(packet) != pid) continue;
      if (last >= 0 && counterOf(packet) != (last + 1) % 16)
        found.push_back(std::to_string(last) + " to " + std::to_string(counterOf(packet)));
      last = counterOf(packet);
    }
    return found;
  }
};

/// Repeated so often that a test need not wait long.
vantor::thrift::dvb_tables::Sections bat(int version, int pid = kBatPid) {
  auto record = makeSections(pid, 0x4A, 500, version);
  record.period = 25;
  return record;
}

constexpr const char* kSilent =
    "4 PID 0x0011: its whole sections stay off air with the classic timing while other tables are there";
constexpr const char* kHeard = "4 PID 0x0011: its whole sections are on air again";

}  // namespace

TEST_F(SectionTables, GoOnAirAsTheyAre) {
  auto record = makeSections(kOwnPid, 0x90, 7, 5, 2, 300);
  EXPECT_EQ(mux.newSections(record), 0);
  EXPECT_THAT(lines(), ElementsAre("7 [newSections]",
                                   "5 [mux] Add sections table id 0x90 on PID 0300 Size 2s/624b every 1000 ms"));
  ASSERT_TRUE(sender.await([](const std::string& packet) { return counterOf(packet) == 3; }));
  std::string sent;
  for (const std::string& packet : sender.packets())
    sent += packet.substr(startsPayloadUnit(packet) ? kSection : kSection - 1);
  EXPECT_EQ(sent.substr(0, 312), record.sections[0]);
  EXPECT_EQ(sent.substr(183 + 184, 312), record.sections[1]);
}

TEST_F(SectionTables, AreListedWithTheirNames) {
  auto named = makeSections(kOwnPid, 0x90, 7, 5);
  named.name = "Ours";
  mux.newSections(named);
  mux.newSections(bat(3, 0x301));
  EXPECT_THAT(tables(), ElementsAre("Ours v5", "BAT 500 v3"));
  EXPECT_EQ(mux.tablesOnAir()[0].period, 1000U);
}

TEST_F(SectionTables, AnUpdateTakesThePlaceOfWhatWasThere) {
  mux.newSections(bat(1, kOwnPid));
  ASSERT_TRUE(isTableSent(kOwnPid, 0x4A, 1));
  mux.newSections(bat(2, kOwnPid));
  EXPECT_THAT(tables(), ElementsAre("BAT 500 v2"));
  EXPECT_TRUE(isTableSent(kOwnPid, 0x4A, 2));
}

TEST_F(SectionTables, ARefusedRecordLeavesOnAirWhatWasThere) {
  mux.newSections(bat(1, kOwnPid));
  lines();
  auto broken = bat(2, kOwnPid);
  broken.sections[0].back() ^= 1;
  EXPECT_EQ(mux.newSections(broken), -1);
  EXPECT_THAT(lines(), ElementsAre("7 [newSections]", "3 Sections: sections[0]: has a wrong CRC_32"));
  EXPECT_THAT(tables(), ElementsAre("BAT 500 v1"));
}

TEST_F(SectionTables, AreClearedOneByOneAndWithAllTables) {
  mux.newSections(bat(1, kOwnPid));
  mux.newSections(bat(1, 0x301));
  mux.newPAT(makePat(1));
  lines();
  mux.clearSections(kOwnPid, 0x4A, 500);
  mux.clearSections(kOwnPid, 0x4A, 500);
  EXPECT_THAT(lines(), ElementsAre("7 [clearSections] PID 0300 table_id 4a extension 01f4",
                                   "5 [mux] Clearing sections 4a/01f4 on PID 0300",
                                   "7 [clearSections] PID 0300 table_id 4a extension 01f4",
                                   "4 [mux] There are no sections 4a/01f4 on PID 0300"));
  EXPECT_THAT(tables(), ElementsAre("PAT v1", "BAT 500 v1"));
  mux.clearAllTables();
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(SectionTables, ThatCannotBeSentForLackOfAMutexLeaveNothingBehind) {
  {
    const MutexCreation creation(0);
    EXPECT_THROW(mux.newSections(bat(1)), boost::thread_resource_error);
  }
  EXPECT_THAT(tables(), IsEmpty());
  EXPECT_EQ(mux.newSections(bat(1)), 0);
}

TEST_F(SectionTables, ClassicRefusesAPidThatAnotherStreamHas) {
  mux.newSDTActual(makeSdt(1, 1, 1));
  lines();
  EXPECT_EQ(mux.newSections(bat(1)), -1);
  EXPECT_THAT(lines(), ElementsAre("7 [newSections]",
                                   "3 [mux] Sections: pid: 0x0011 has other tables, which the classic timing keeps "
                                   "apart"));
  EXPECT_EQ(mux.newSections(bat(1, kOwnPid)), 0);
  mux.clearSDTActual();
  EXPECT_EQ(mux.newSections(bat(1)), 0);
  EXPECT_EQ(mux.newSections(makeSections(kBatPid, 0x4A, 501, 1)), 0) << "they share the PID with each other";
}

TEST_F(SectionTables, ClassicLetsATableHaveThePidThatComesLater) {
  mux.newSections(bat(1));
  ASSERT_TRUE(isTableSent(kBatPid, 0x4A, 1));
  lines();
  mux.newSDTActual(makeSdt(1, 1, 7));
  EXPECT_THAT(lines(), Contains(kSilent));
  EXPECT_THAT(tables(), ElementsAre("SDT actual v7"));
  ASSERT_TRUE(isTableSent(kBatPid, 0x42, 7));
  mux.clearSDTActual();
  EXPECT_THAT(lines(), Contains(kHeard));
  EXPECT_THAT(tables(), ElementsAre("BAT 500 v1"));
  EXPECT_TRUE(isSentAnew(kBatPid, 0x4A));
  EXPECT_THAT(breaks(kBatPid), IsEmpty());
}

TEST_F(SectionTables, StandardsSendsAllTablesOfAPidWithOneCounter) {
  mux.setTimingProfile(TimingProfile::Standards);
  mux.newSDTActual(makeSdt(1, 1, 7, 20));
  EXPECT_EQ(mux.newSections(bat(1)), 0);
  EXPECT_EQ(mux.newSections(makeSections(kBatPid, 0x46, 9, 2, 3, 500)), 0);
  EXPECT_THAT(tables(), UnorderedElementsAre("SDT actual v7", "BAT 500 v1", HasSubstr("SDT other")));
  EXPECT_TRUE(isTableSent(kBatPid, 0x42, 7));
  EXPECT_TRUE(isTableSent(kBatPid, 0x46, 2));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(isSentAnew(kBatPid, 0x4A));
  EXPECT_TRUE(isSentAnew(kBatPid, 0x42));
  EXPECT_THAT(breaks(kBatPid), IsEmpty());
}

TEST_F(SectionTables, StayOffAirWhileTheProfileIsClassic) {
  mux.setTimingProfile(TimingProfile::Standards);
  mux.newSDTActual(makeSdt(1, 1, 7));
  mux.newSections(bat(1));
  mux.newSections(bat(1, kOwnPid));
  ASSERT_TRUE(isTableSent(kBatPid, 0x4A, 1));
  ASSERT_TRUE(isTableSent(kBatPid, 0x42, 7));
  mux.setTimingProfile(TimingProfile::Classic);
  awaitLine(kSilent);
  EXPECT_THAT(tables(), UnorderedElementsAre("SDT actual v7", "BAT 500 v1")) << "the other PID is its own";
  const std::size_t before = sender.packets().size();
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(isSentAnew(kBatPid, 0x42));
  const auto packets = sender.packets();
  EXPECT_TRUE(std::none_of(
      packets.begin() + static_cast<std::ptrdiff_t>(before), packets.end(),
      [](const std::string& packet) { return pidOf(packet) == kBatPid && byteAt(packet, kSection) == 0x4A; }));
  EXPECT_EQ(mux.newSections(bat(2)), -1);
  mux.setTimingProfile(TimingProfile::Standards);
  awaitLine(kHeard);
  EXPECT_THAT(tables(), UnorderedElementsAre("SDT actual v7", "BAT 500 v1", "BAT 500 v1"));
  EXPECT_TRUE(isSentAnew(kBatPid, 0x4A));
  EXPECT_THAT(breaks(kBatPid), IsEmpty());
  EXPECT_THAT(breaks(kOwnPid), IsEmpty());
}

TEST_F(SectionTables, AnOutputEndsWithoutAWordOfThoseThatWereSilent) {
  RecordedLog own;
  {
    Sender nowhere;
    vantor::serviceMux other("other", nowhere.shared(), "");
    other.newSections(bat(1));
    other.newSDTActual(makeSdt(1, 1, 7));
    takeLines(own);
  }
  EXPECT_THAT(takeLines(own), testing::Not(Contains(HasSubstr("PID"))));
}
