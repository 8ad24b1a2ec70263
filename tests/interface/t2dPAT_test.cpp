#include "interface/converters/t2dPAT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using vantor::PatTable;

namespace {

PAT patOf(int programs) {
  PAT record;
  record.transport_stream_id = 0x1234;
  record.version_number = 7;
  for (int i = 0; i < programs; ++i) record.programs.push_back(program(i, 0x20 + i % 0x1F00));
  return record;
}

class PatConverter : public testing::Test {
 protected:
  /// The error that the record is refused with.
  std::vector<std::string> refusal(const PAT& record) {
    EXPECT_EQ(PatTable(t2dPAT(record)), nullptr);
    return log.takeErrors();
  }

  RecordedLog log;
};

}  // namespace

TEST_F(PatConverter, EveryFieldReachesTheTable) {
  PAT record;
  record.transport_stream_id = 0xFFFF;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.programs = {program(0, 0x10), program(0xFFFF, 0x1FFF)};
  const PatTable pat(t2dPAT(record));
  ASSERT_NE(pat, nullptr);
  EXPECT_EQ(pat->i_ts_id, 0xFFFF);
  EXPECT_EQ(pat->i_version, 31);
  EXPECT_FALSE(pat->b_current_next);
  const auto* const first = pat->p_first_program;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_number, 0);
  EXPECT_EQ(first->i_pid, 0x10);
  ASSERT_NE(first->p_next, nullptr);
  EXPECT_EQ(first->p_next->i_number, 0xFFFF);
  EXPECT_EQ(first->p_next->i_pid, 0x1FFF);
  EXPECT_EQ(first->p_next->p_next, nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(PatConverter, ArrivesWholeOverOneAndSeveralSections) {
  for (const int programs : {0, 1, 100, 101, 250}) {
    const PAT record = patOf(programs);
    const PatTable pat(t2dPAT(record));
    ASSERT_NE(pat, nullptr);
    const auto sections = sectionsOf(*pat);
    EXPECT_EQ(faultIn(sections), "");
    EXPECT_EQ(sections.size(), programs <= 100 ? 1U : programs == 101 ? 2U : 3U);
    EXPECT_EQ(tableId(sections[0]), 0x00);
    EXPECT_EQ(extension(sections[0]), 0x1234);
    EXPECT_EQ(version(sections[0]), 7);
    EXPECT_TRUE(isCurrent(sections[0]));
    EXPECT_EQ(programsIn(sections), record.programs);
    // libdvbpsi's decoder does not report a PAT without programs.
    if (programs > 0) {
      EXPECT_EQ(decodedPat(sections), record);
    }
  }
}

TEST_F(PatConverter, FillsAll256SectionsAndRefusesA257th) {
  PAT record = patOf(25600);
  const PatTable pat(t2dPAT(record));
  ASSERT_NE(pat, nullptr);
  const auto sections = sectionsOf(*pat);
  EXPECT_EQ(sections.size(), 256U);
  EXPECT_EQ(faultIn(sections), "");
  EXPECT_EQ(programsIn(sections), record.programs);
  record.programs.push_back(program(1, 0x20));
  EXPECT_THAT(refusal(record), ElementsAre("PAT: programs: needs 257 sections, more than 256"));
}

TEST_F(PatConverter, RefusesIdentifiersThatAreNoneOf16Bits) {
  PAT record = patOf(2);
  record.transport_stream_id = 0x10000;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: transport_stream_id: 65536 is above 0xFFFF"));
  record.transport_stream_id = -1;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: transport_stream_id: -1 is negative"));
  record = patOf(2);
  record.programs[1].program_number = 70000;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: programs[1].program_number: 70000 is above 0xFFFF"));
  record.programs[1].program_number = -70000;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: programs[1].program_number: -70000 is negative"));
}

TEST_F(PatConverter, RefusesPidsThatAreNoneOf13Bits) {
  PAT record = patOf(5);
  record.programs[3].pid = 9000;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: programs[3].pid: 9000 is above 0x1FFF"));
  record.programs[3].pid = 0x2000;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: programs[3].pid: 8192 is above 0x1FFF"));
  record.programs[3].pid = -1;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: programs[3].pid: -1 is negative"));
}

TEST_F(PatConverter, LeavesVersionsAbove31ToTheCaller) {
  PAT record = patOf(1);
  for (const int version : {32, 40, 255, 256, 260, 256 + 31, 0x7FFFFFFF}) {
    record.version_number = version;
    const PatTable pat(t2dPAT(record));
    ASSERT_NE(pat, nullptr) << version;
    EXPECT_GT(pat->i_version, 31) << version;
  }
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("PAT: version_number: -1 is negative"));
}
