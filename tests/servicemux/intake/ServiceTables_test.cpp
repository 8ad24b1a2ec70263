#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/exceptions.hpp>
#include <filesystem>

#include "tests/servicemux/doubles/FailingGenerators.h"
#include "tests/servicemux/doubles/MutexCreation.h"
#include "tests/servicemux/doubles/StreamCalls.h"
#include "tests/servicemux/front/Intake.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using vantor::serviceMux;

constexpr unsigned short kSdtPid = 0x11;
constexpr unsigned short kEitPid = 0x12;

class ServiceTables : public Intake {
 protected:
  /// True once a section of this table_id and extension has been sent on the PID in this version.
  bool isSectionSent(unsigned short pid, unsigned char tableId, unsigned short extension, int version) {
    return sender.await([=](const std::string& packet) {
      return pidOf(packet) == pid && startsPayloadUnit(packet) && byteAt(packet, kSection) == tableId &&
             (byteAt(packet, kSection + 3) << 8 | byteAt(packet, kSection + 4)) == extension &&
             versionOf(packet) == version;
    });
  }
};

/// An EIT other of service 0x101 in this stream of network 0x3001.
vantor::thrift::dvb_tables::EIT eitOf(int stream, int version) {
  auto eit = makeEit(0x4F, 0x101, version);
  eit.transport_stream_id = stream;
  return eit;
}

/// A directory that dump files go to.
class DumpDirectory {
 public:
  DumpDirectory() : path(std::filesystem::temp_directory_path() / "servicemux-dumps-XXXXXX") {
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make " + path);
  }
  DumpDirectory(const DumpDirectory&) = delete;
  DumpDirectory& operator=(const DumpDirectory&) = delete;
  ~DumpDirectory() { std::filesystem::remove_all(path); }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename());
    return names;
  }

  std::string path;
};

}  // namespace

TEST_F(ServiceTables, NewPmtIsLoggedAndSentOnThePidOfTheCaller) {
  EXPECT_EQ(mux.newPMT(makePmt(0x10, 7), 0x100), 7);
  EXPECT_THAT(lines(),
              ElementsAre("7 [newPMT] [0x0010] on PID [0x0100]", "5 [mux] Add PMT 0010/v7 on PID 0100 Size 16b"));
  EXPECT_TRUE(isSectionSent(0x100, 0x02, 0x10, 7));
  ASSERT_EQ(mux.tablesOnAir().size(), 1U);
  EXPECT_EQ(mux.tablesOnAir()[0].pid, 0x100);
  EXPECT_EQ(mux.tablesOnAir()[0].period, 200U);
}

TEST_F(ServiceTables, ProgramNumbersAndPidsAreUnsigned) {
  EXPECT_EQ(mux.newPMT(makePmt(0xFF01, 1), static_cast<short>(0x1FFE)), 1);
  mux.clearPMT(static_cast<short>(0xFF01), static_cast<short>(0xFFFE));
  EXPECT_THAT(
      lines(),
      ElementsAre("7 [newPMT] [0xff01] on PID [0x1ffe]", "5 [mux] Add PMT ff01/v1 on PID 1ffe Size 16b",
                  "7 [clearPMT] [0xff01] on PID [0xfffe]", "5 [mux]Clearing PMT ff01/v1 on PID 1ffe Size 16b"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(ServiceTables, NewVersionsTakeOver) {
  for (const int version : {1, 2}) {
    mux.newPMT(makePmt(1, version), 0x100);
    mux.newSDTActual(makeSdt(1, 1, version));
    mux.newSDTOthers(makeSdt(2, 1, version));
    mux.newEITpf({{0, {{0, makeEit(0x4E, 0x101, version)}}}});
  }
  EXPECT_THAT(tables(), ElementsAre("PMT 1 v2", "SDT actual v2", "SDT other 2/1 v2", "EIT p/f actual 257 v2"));
  EXPECT_TRUE(isSectionSent(0x100, 0x02, 1, 2));
  EXPECT_TRUE(isSectionSent(kSdtPid, 0x42, 1, 2));
}

TEST_F(ServiceTables, RefusedPmtIsLoggedWithTheWholeNumber) {
  EXPECT_EQ(mux.newPMT(makePmt(0x10010, 1), 0x100), -1);
  EXPECT_EQ(lines().at(0), "7 [newPMT] [0x10010] on PID [0x0100]");
}

TEST_F(ServiceTables, PmtOnAnotherPidLeavesTheOneOnAirAndReturnsItsVersion) {
  mux.newPMT(makePmt(1, 1), 0x100);
  lines();
  EXPECT_EQ(mux.newPMT(makePmt(1, 2), 0x101), 2);
  EXPECT_THAT(lines(), ElementsAre("7 [newPMT] [0x0001] on PID [0x0101]"));
  EXPECT_THAT(tables(), ElementsAre("PMT 1 v1"));
}

TEST_F(ServiceTables, PmtOnWhatIsNoPidIsRefusedAndNothingIsLost) {
  mux.newPMT(makePmt(1, 1), 0x100);
  lines();
  EXPECT_EQ(mux.newPMT(makePmt(1, 2), -1), -1);
  EXPECT_EQ(mux.newPMT(makePmt(0xFF01, 2), 0x2000), -1);
  EXPECT_THAT(lines(), ElementsAre("7 [newPMT] [0x0001] on PID [0xffff]",
                                   "3 [mux] PMT of program 1: pid: 0xffff is above 0x1fff",
                                   "7 [newPMT] [0xff01] on PID [0x2000]",
                                   "3 [mux] PMT of program 65281: pid: 0x2000 is above 0x1fff"));
  EXPECT_THAT(tables(), ElementsAre("PMT 1 v1"));
  EXPECT_EQ(mux.newPMT(makePmt(2, 3), 0x1FFF), 3) << "the highest PID";
}

TEST_F(ServiceTables, PmtWhoseCarrouselCannotBeMadeLeavesTheOthersOnAir) {
  mux.newPMT(makePmt(1, 1), 0x100);
  {
    const MutexCreation creation(0);
    EXPECT_THROW(mux.newPMT(makePmt(2, 1), 0x101), boost::thread_resource_error);
    EXPECT_EQ(mux.newPMT(makePmt(3, 1), 0x100), 1) << "shares a carousel";
  }
  EXPECT_THAT(tables(), ElementsAre("PMT 1 v1", "PMT 3 v1"));
  EXPECT_EQ(mux.newPMT(makePmt(2, 1), 0x101), 1);
}

TEST_F(ServiceTables, AreHandedOverWithTheNumberOfTheirSections) {
  StreamCalls calls;
  for (const int version : {1, 2}) {
    mux.newPMT(makePmt(1, version), 0x100);
    mux.newSDTActual(makeSdt(1, 1, version, 10));
    mux.newSDTOthers(makeSdt(2, 1, version, 20));
    mux.newEITpf({{0, {{0, makeEit(0x4E, 0x101, version)}}}});
    mux.newEITsch({{0, {{0, makeEit(0x50, 0x101, version, 40)}}}});
  }
  EXPECT_THAT(calls.take(),
              ElementsAre("new 02 1s", "new 42 2s", "new 46 3s", "new 4e 1s", "new 50 3s",  //
                          "replace 02 1s", "replace 42 2s", "replace 46 3s", "replace 4e 1s", "replace 50 3s"));
}

TEST_F(ServiceTables, NewSdtActualIsLoggedAndSent) {
  EXPECT_EQ(mux.newSDTActual(makeSdt(0x2A, 0x3001, 4)), 4);
  EXPECT_THAT(lines(), ElementsAre("7 [newSDTActual]", "5 [mux] Add SDTact 002a/3001/v4 Size 1s/120b"));
  EXPECT_TRUE(isSectionSent(kSdtPid, 0x42, 0x2A, 4));
}

TEST_F(ServiceTables, NewSdtOtherIsSentWithItsOwnTableId) {
  EXPECT_EQ(mux.newSDTOthers(makeSdt(0x2B, 0x3001, 5, 10)), 5);
  EXPECT_THAT(lines(), ElementsAre("7 [newSDTOthers]", "5 [mux] Add SDTo 002b/3001/v5 Size 2s/1080b"));
  EXPECT_TRUE(isSectionSent(kSdtPid, 0x46, 0x2B, 5));
}

TEST_F(ServiceTables, VersionAbove31IsSentAs0) {
  EXPECT_EQ(mux.newPMT(makePmt(1, 32), 0x100), 0);
  EXPECT_EQ(mux.newSDTActual(makeSdt(1, 1, 40)), 0);
  EXPECT_EQ(mux.newSDTOthers(makeSdt(2, 1, 255)), 0);
  EXPECT_TRUE(isSectionSent(0x100, 0x02, 1, 0));
  EXPECT_TRUE(isSectionSent(kSdtPid, 0x42, 1, 0));
  EXPECT_TRUE(isSectionSent(kSdtPid, 0x46, 2, 0));
}

TEST_F(ServiceTables, PresentFollowingIsAnnouncedWithTheServiceFirst) {
  EXPECT_EQ(mux.newEITpf({{0, {{0, makeEit(0x4E, 0x102, 3)}}}}), 3);
  EXPECT_THAT(lines(),
              ElementsAre("7 [newEITpf]", "7 Add new EIT tid [0x004e] sid [0x0102]",
                          "7 EIT not found tid [0x004e] sid [0x0102]", "6 [mux] New EITpf 102/004e/3 Size 1/230"));
  EXPECT_TRUE(isSectionSent(kEitPid, 0x4E, 0x102, 3));
}

TEST_F(ServiceTables, ScheduleIsAnnouncedWithTheTableIdFirst) {
  EXPECT_EQ(mux.newEITsch({{0, {{0, makeEit(0x50, 0x102, 3, 40)}}}}), 3);
  EXPECT_THAT(lines(), ElementsAre("7 [newEITsch]", "7 Add new EIT tid [0x0050] sid [0x0102]",
                                   "7 EIT not found tid [0x0050] sid [0x0102]",
                                   "6 [mux] New EITsched 50/0102/3 Size 3/8534"));
  EXPECT_TRUE(isSectionSent(kEitPid, 0x50, 0x102, 3));
}

TEST_F(ServiceTables, StandardScheduleCountsTheSectionsThatExistAndNamesTheLastNumber) {
  auto eit = makeEit(0x50, 0x102, 3, 9);  // one event in each of nine segments
  eit.__set_sectioning(vantor::thrift::dvb_tables::EITSectioning::STANDARD);
  EXPECT_EQ(mux.newEITsch({{0, {{0, eit}}}}), 3);
  EXPECT_EQ(lines().back(), "6 [mux] New EITsched 50/0102/3 Size 65/2070");
  ASSERT_EQ(mux.tablesOnAir().size(), 1U);
  EXPECT_EQ(mux.tablesOnAir()[0].packets, 18U);
}

TEST_F(ServiceTables, EitRecordsAreTakenInTheOrderOfTheirKeys) {
  const serviceMux::EITRecords records{
      {7, {{1, makeEit(0x4F, 0x103, 7)}}},
      {-2, {{2, makeEit(0x4E, 0x102, 40)}, {1, makeEit(0x4E, 0x101, 3)}}},
  };
  EXPECT_EQ(mux.newEITpf(records), 7) << "the version of the last one";
  EXPECT_THAT(tables(), ElementsAre("EIT p/f actual 257 v3", "EIT p/f actual 258 v0", "EIT p/f other 259 v7"));
  EXPECT_TRUE(isSectionSent(kEitPid, 0x4E, 0x102, 0));
}

TEST_F(ServiceTables, RefusedEitRecordIsPassedOver) {
  auto refused = makeEit(0x4E, 0x102, 9);
  refused.service_id = 0x10000;
  EXPECT_EQ(mux.newEITpf({{0, {{0, refused}, {1, makeEit(0x4E, 0x101, 3)}, {2, refused}}}}), 3);
  EXPECT_THAT(tables(), ElementsAre("EIT p/f actual 257 v3"));
  EXPECT_EQ(mux.newEITsch({{0, {{0, refused}}}}), -1);
}

TEST_F(ServiceTables, EitsOfOneServiceIdInSeveralStreamsAreOneInClassic) {
  mux.newEITpf({{0, {{0, eitOf(1, 2)}, {1, eitOf(2, 3)}}}});
  EXPECT_THAT(tables(), ElementsAre("EIT p/f other 257 v3"));
  EXPECT_EQ(mux.tablesOnAir().at(0).key.transport_stream_id, 2);
}

TEST_F(ServiceTables, EitsOfOneServiceIdInSeveralStreamsAreAllOnAirInStandards) {
  vantor::InsertionPeriods periods;
  periods.eitPresentFollowingOther = 100;
  mux.setInsertionPeriods(periods);
  mux.setTimingProfile(vantor::TimingProfile::Standards);
  mux.newEITpf({{0, {{0, eitOf(1, 2)}, {1, eitOf(2, 3)}, {2, makeEit(0x4F, 0x102, 4)}}}});
  const std::vector<std::string> both{"EIT p/f other 257 of 1/12289 v2", "EIT p/f other 257 of 2/12289 v3",
                                      "EIT p/f other 258 v4"};
  EXPECT_EQ(tables(), both);
  EXPECT_TRUE(isSectionSent(kEitPid, 0x4F, 0x101, 2));
  EXPECT_TRUE(isSectionSent(kEitPid, 0x4F, 0x101, 3));
  mux.setTimingProfile(vantor::TimingProfile::Classic);
  EXPECT_EQ(tables(), both) << "none is lost by a change of the profile";
  mux.clearEITpf(0x101);
  EXPECT_THAT(tables(), ElementsAre("EIT p/f other 258 v4"));
}

TEST_F(ServiceTables, ActualEitsHaveTheStreamInTheirKeyToo) {
  const auto actual = [](int stream, int version) {
    auto eit = eitOf(stream, version);
    eit.table_id = 0x4E;
    return eit;
  };
  mux.newEITpf({{0, {{0, actual(1, 1)}, {1, actual(2, 2)}}}});
  EXPECT_THAT(tables(), ElementsAre("EIT p/f actual 257 v2"));
  mux.setTimingProfile(vantor::TimingProfile::Standards);
  mux.newEITpf({{0, {{0, actual(3, 3)}}}});
  EXPECT_THAT(tables(), ElementsAre("EIT p/f actual 257 of 2/12289 v2", "EIT p/f actual 257 of 3/12289 v3"));
}

TEST_F(ServiceTables, NoEitRecordsGiveMinus1AndSendNothing) {
  EXPECT_EQ(mux.newEITpf({}), -1);
  EXPECT_EQ(mux.newEITsch({{1, {}}}), -1);
  EXPECT_THAT(lines(), ElementsAre("7 [newEITpf]", "7 [newEITsch]"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(ServiceTables, RefusedRecordsLeaveThePreviousTables) {
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.newSDTActual(makeSdt(1, 1, 2));
  mux.newSDTOthers(makeSdt(2, 1, 3));
  lines();
  EXPECT_EQ(mux.newPMT(makePmt(1, 4, 0x2000), 0x100), -1);
  EXPECT_EQ(mux.newSDTActual(makeSdt(0x10000, 1, 4)), -1);
  EXPECT_EQ(mux.newSDTOthers(makeSdt(2, 0x10000, 4)), -1);
  // The converter's own word on the field stands behind the entry line of each; nothing else does.
  EXPECT_THAT(lines(), ElementsAre("7 [newPMT] [0x0001] on PID [0x0100]", StartsWith("3 PMT: "), "7 [newSDTActual]",
                                   StartsWith("3 SDT: "), "7 [newSDTOthers]", StartsWith("3 SDT: ")));
  EXPECT_THAT(tables(), ElementsAre("PMT 1 v1", "SDT actual v2", "SDT other 2/1 v3"));
}

TEST_F(ServiceTables, TablesWithoutSectionsLeaveThePreviousOnesAndReturnTheirVersion) {
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.newSDTActual(makeSdt(1, 1, 2));
  mux.newSDTOthers(makeSdt(2, 1, 3));
  mux.newEITpf({{0, {{0, makeEit(0x4E, 0x101, 4)}}}});
  lines();
  const FailingGenerators failing;
  EXPECT_EQ(mux.newPMT(makePmt(1, 5), 0x100), 5);
  EXPECT_EQ(mux.newSDTActual(makeSdt(1, 1, 50)), 0);
  EXPECT_EQ(mux.newSDTOthers(makeSdt(2, 1, 7)), 7);
  EXPECT_EQ(mux.newEITpf({{0, {{0, makeEit(0x4E, 0x101, 8)}}}}), 8);
  EXPECT_THAT(lines(), ElementsAre("7 [newPMT] [0x0001] on PID [0x0100]", "7 [newSDTActual]", "7 [newSDTOthers]",
                                   "7 [newEITpf]"));
  EXPECT_THAT(tables(), ElementsAre("PMT 1 v1", "SDT actual v2", "SDT other 2/1 v3", "EIT p/f actual 257 v4"));
}

TEST_F(ServiceTables, AllPmtsAreClearedAtOnce) {
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.newPMT(makePmt(2, 1), 0x100);
  mux.newPMT(makePmt(3, 1), 0x101);
  lines();
  mux.clearAllPMTs();
  EXPECT_THAT(lines(), ElementsAre("7 [clearAllPMTs]"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(ServiceTables, SdtsAreClearedByTransportStreamAndNetwork) {
  mux.newSDTActual(makeSdt(1, 1, 2));
  mux.newSDTOthers(makeSdt(2, 1, 3));
  mux.newSDTOthers(makeSdt(2, 5, 4));
  mux.newSDTOthers(makeSdt(3, 1, 5));
  lines();
  mux.clearSDTOthers(2, -1);
  EXPECT_THAT(lines(), ElementsAre("7 [clearSDTOthers]", "5 [mux]Clearing SDTo 0002/0001/v3 Size 120b",
                                   "5 [mux]Clearing SDTo 0002/0005/v4 Size 120b"));
  EXPECT_THAT(tables(), ElementsAre("SDT actual v2", "SDT other 3/1 v5"));
  mux.clearSDTActual();
  EXPECT_THAT(lines(), ElementsAre("7 [clearSDTActual]", "5 [mux]Clearing SDTact 0001/0001/v2 Size 120b"));
  EXPECT_THAT(tables(), ElementsAre("SDT other 3/1 v5"));
  mux.clearSDTOthers(-1, -1);
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(ServiceTables, ClearingOneKindOfEitClearsAllOfTheService) {
  mux.newEITpf({{0, {{0, makeEit(0x4E, 0x102, 1)}, {1, makeEit(0x4E, 0xFF02, 1)}}}});
  mux.newEITsch({{0, {{0, makeEit(0x50, 0x102, 1)}, {1, makeEit(0x51, 0xFF02, 1)}}}});
  lines();
  mux.clearEITsch(0x102);
  EXPECT_THAT(lines(), ElementsAre("7 [clearEITsch] sid 0102"));
  EXPECT_THAT(tables(), ElementsAre("EIT p/f actual 65282 v1", "EIT schedule actual 51 65282 v1"));
  mux.clearEITpf(static_cast<short>(0xFF02));
  EXPECT_THAT(lines(), ElementsAre("7 [clearEITpf] sid [0xff02]"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(ServiceTables, AllEitsAreClearedAtOnce) {
  mux.newEITpf({{0, {{0, makeEit(0x4E, 0x102, 1)}, {1, makeEit(0x4E, 0x103, 1)}}}});
  lines();
  mux.clearAllEITs();
  EXPECT_THAT(lines(), ElementsAre("7 [clearAllEITs]"));
  EXPECT_THAT(tables(), IsEmpty());
}

TEST_F(ServiceTables, ClearAllTablesTakesThemOffAirWithoutAWord) {
  mux.newPMT(makePmt(1, 1), 0x100);
  mux.newSDTActual(makeSdt(1, 1, 2));
  mux.newSDTOthers(makeSdt(2, 1, 3));
  mux.newEITpf({{0, {{0, makeEit(0x4E, 0x101, 4)}}}});
  lines();
  mux.clearAllTables();
  EXPECT_THAT(lines(), ElementsAre("7 [clearAllTables]", "4 [clearLiveECMs]", "4 [clearLiveEMMs]"));
  EXPECT_THAT(tables(), IsEmpty());
  mux.newSDTActual(makeSdt(1, 1, 9));
  EXPECT_TRUE(isSectionSent(kSdtPid, 0x42, 1, 9));
}

TEST(ServiceTableDumps, PmtAndSdtActualAreWrittenAndNothingElse) {
  const DumpDirectory directory;
  serviceMux mux("mux", makeAddress(), directory.path);
  mux.newPMT(makePmt(0x10, 3), 0x100);
  mux.newSDTOthers(makeSdt(2, 1, 3));
  mux.newEITpf({{0, {{0, makeEit(0x4E, 0x101, 4)}}}});
  EXPECT_THAT(directory.files(), UnorderedElementsAre("table_PMT_16_3.bin", "current_PMT_16.bin"));
  mux.newSDTActual(makeSdt(1, 1, 2));
  EXPECT_THAT(directory.files(), UnorderedElementsAre("table_PMT_16_3.bin", "current_PMT_16.bin",
                                                      "table_SDTact_2.bin", "current_SDTact.bin"));
}

TEST(ServiceTableDumps, ClearingRemovesTheLinkOfTheProgramEvenWhenNothingIsOnAir) {
  const DumpDirectory directory;
  serviceMux mux("mux", makeAddress(), directory.path);
  mux.newPMT(makePmt(0x10, 3), 0x100);
  mux.newSDTActual(makeSdt(1, 1, 2));
  mux.clearAllPMTs();
  mux.clearSDTOthers(-1, -1);
  EXPECT_EQ(directory.files().size(), 4U) << "clearing them all leaves the links, and SDT others have none";
  mux.clearPMT(0x10, 0x100);
  mux.clearSDTActual();
  EXPECT_THAT(directory.files(), UnorderedElementsAre("table_PMT_16_3.bin", "table_SDTact_2.bin"));
}
