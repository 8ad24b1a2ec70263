#include "servicemux/output/FitReport.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "servicemux/streams/SimpleTable.h"
#include "tests/servicemux/doubles/FakeOutput.h"
#include "tests/servicemux/doubles/SimulatedThreads.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/muxer/MuxerThreads.h"
#include "tests/servicemux/muxer/tablePackets.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::SimpleTable;
using vantor::TimingProfile;

class FitReportTest : public testing::Test {
 protected:
  SimpleTable& add(unsigned short pid, unsigned char table_id, unsigned char extension, unsigned int period,
                   const std::vector<int>& sections) {
    return put(pid, period, makeTable(pid, table_id, extension, sections));
  }

  SimpleTable& put(unsigned short pid, unsigned int period, std::string packets) {
    tables.push_back(std::make_unique<SimpleTable>(output.muxer, pid, period));
    tables.back()->new_packetized_table(packets);
    return *tables.back();
  }

  /// Looks as often as it takes to be sure.
  std::vector<std::string> linesOfTwoLooks() {
    report.look();
    report.look();
    return takeLines(log);
  }

  void setBitrate(unsigned int kbps) {
    output.muxer->SetBitrate(kbps);
    simulation.sleepUntil(simulation.now() + 1000000);
  }

  RecordedLog log;
  SimulatedThreads simulation;
  FakeOutput output;
  std::vector<std::unique_ptr<SimpleTable>> tables;
  const MuxerThreads threads{(output.muxer->setTimingProfile(TimingProfile::Standards), *output.muxer)};
  vantor::FitReport report{&output};

  void SetUp() override { simulation.sleepUntil(1000000); }
};

}  // namespace

TEST_F(FitReportTest, IsSilentWhileAllFits) {
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
  add(0x100, 0x02, 7, 100, {2});
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
  setBitrate(2000);
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
}

TEST_F(FitReportTest, NamesEachTableTheSumTheCeilingAndTheFactor) {
  add(0x000, 0x00, 1, 200, {1});
  add(0x100, 0x02, 7, 100, {5, 5});
  add(0x011, 0x42, 1, 500, {2, 2, 2});
  put(0x1FFF, 50, makePacket(0x1FFF, 0));
  setBitrate(100);
  EXPECT_THAT(linesOfTwoLooks(),
              ElementsAre("4 [out] All periods are 2.146 times as long: the tables need 206.0 kbit/s of 100",
                          "4 [out] PID 0x0100 PMT 7 needs 150.40 kbit/s: 2 sections every 100 ms",
                          "4 [out] PID 0x1fff packets without sections needs 30.08 kbit/s: 1 sections every 50 ms",
                          "4 [out] PID 0x0011 SDT actual needs 18.05 kbit/s: 3 sections every 500 ms",
                          "4 [out] PID 0x0000 PAT needs 7.52 kbit/s: 1 sections every 200 ms"));
}

TEST_F(FitReportTest, SaysItOnceForEachChange) {
  add(0x100, 0x02, 7, 100, {10});
  setBitrate(100);
  EXPECT_THAT(linesOfTwoLooks(), SizeIs(2));
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
  setBitrate(120);
  EXPECT_THAT(linesOfTwoLooks(),
              ElementsAre("4 [out] All periods are 1.306 times as long: the tables need 150.4 kbit/s of 120",
                          "4 [out] PID 0x0100 PMT 7 needs 150.40 kbit/s: 1 sections every 100 ms"));
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
  setBitrate(1000);
  EXPECT_THAT(linesOfTwoLooks(), ElementsAre("4 [out] All tables fit: 150.4 kbit/s of 1000"));
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
}

TEST_F(FitReportTest, WaitsForTheEndOfAChange) {
  add(0x100, 0x02, 7, 100, {10});
  for (const unsigned int kbps : {100U, 90U, 80U}) {
    setBitrate(kbps);
    report.look();
    EXPECT_THAT(takeLines(log), IsEmpty()) << kbps;
  }
  report.look();
  EXPECT_THAT(takeLines(log), SizeIs(2));
}

TEST_F(FitReportTest, WhatChangesForAMomentIsNotTold) {
  add(0x100, 0x02, 7, 100, {10});
  setBitrate(100);
  report.look();
  setBitrate(1000);
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
}

TEST_F(FitReportTest, TellsOfDistancesThatTakeMoreThanThePeriodUnderAnyCeiling) {
  add(0x100, 0x02, 7, 126, std::vector<int>(10, 1));
  EXPECT_THAT(linesOfTwoLooks(),
              ElementsAre("4 [out] All periods are 2.000 times as long: the tables need 119.4 kbit/s of 1024",
                          "4 [out] PID 0x0100 PMT 7 needs 119.37 kbit/s: 10 sections every 126 ms"));
}

TEST_F(FitReportTest, NamesAHundredTablesAndCountsTheOthers) {
  for (unsigned char program = 1; program <= 102; ++program)
    add(static_cast<unsigned short>(0x100 + program), 0x02, program, 1000, {program <= 2 ? 1 : 2});
  setBitrate(100);
  const auto lines = linesOfTwoLooks();
  ASSERT_THAT(lines, SizeIs(102));
  EXPECT_EQ(lines[1], "4 [out] PID 0x0103 PMT 3 needs 3.01 kbit/s: 1 sections every 1000 ms");
  EXPECT_EQ(lines[100], "4 [out] PID 0x0166 PMT 102 needs 3.01 kbit/s: 1 sections every 1000 ms");
  EXPECT_EQ(lines[101], "4 [out] 2 tables that need less are not named");
}

TEST_F(FitReportTest, OfClassicThereIsNothingToSay) {
  output.muxer->setTimingProfile(TimingProfile::Classic);
  simulation.sleepUntil(simulation.now() + 1000000);
  add(0x100, 0x02, 7, 100, {10});
  setBitrate(100);
  EXPECT_THAT(linesOfTwoLooks(), IsEmpty());
}
