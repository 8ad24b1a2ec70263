#include "interface/converters/t2dPMT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RandomParts.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::PmtTable;

namespace {

PMTStream stream(int type, int pid, const Descriptors& descriptors = {}) {
  PMTStream stream;
  stream.stream_type = static_cast<std::int16_t>(type);
  stream.elementary_pid = pid;
  stream.descriptors = descriptors;
  return stream;
}

PMT pmtOf(const Descriptors& descriptors, const std::vector<PMTStream>& streams) {
  PMT record;
  record.program_number = 0x0401;
  record.version_number = 7;
  record.pcr_pid = 0x100;
  record.descriptors = descriptors;
  record.streams = streams;
  return record;
}

/// A PMT of so many bytes: 16 around the loops, 5 for each of two streams, four descriptors.
PMT pmtOfSize(std::size_t size) {
  const std::size_t rest = size - 16 - 10 - 3 * 257 - 2;
  return pmtOf({descriptorOf(255)}, {stream(0x1B, 0x100, {descriptorOf(255), descriptorOf(rest)}),
                                     stream(3, 0x101, {descriptorOf(255)})});
}

class PmtConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const PMT& record) {
    EXPECT_EQ(PmtTable(t2dPMT(record)), nullptr);
    return log.takeErrors();
  }

  void expectWhole(const PMT& record) {
    const PmtTable pmt(t2dPMT(record));
    ASSERT_NE(pmt, nullptr) << testing::PrintToString(log.takeErrors());
    const auto sections = sectionsOf(*pmt);
    EXPECT_EQ(faultIn(sections), "");
    ASSERT_THAT(sections, SizeIs(1));
    EXPECT_EQ(tableId(sections[0]), 0x02);
    EXPECT_EQ(extension(sections[0]), record.program_number);
    EXPECT_EQ(version(sections[0]), record.version_number);
    EXPECT_EQ(isCurrent(sections[0]), record.current_next_indicator);
    EXPECT_EQ(pcrPidIn(sections[0]), record.pcr_pid);
    EXPECT_EQ(programDescriptorsIn(sections[0]), record.descriptors);
    EXPECT_EQ(streamsIn(sections[0]), record.streams);
    EXPECT_EQ(decodedPmt(sections), record);
  }

  RecordedLog log;
};

}  // namespace

TEST_F(PmtConverter, EveryFieldReachesTheTable) {
  PMT record = pmtOf({descriptor(0x09, "ca")}, {stream(0xFF, 0x1FFE, {descriptor(0x0A, "lang")}), stream(0, 0)});
  record.program_number = 0xFFFF;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.pcr_pid = 0x1FFF;
  const PmtTable pmt(t2dPMT(record));
  ASSERT_NE(pmt, nullptr);
  EXPECT_EQ(pmt->i_program_number, 0xFFFF);
  EXPECT_EQ(pmt->i_version, 31);
  EXPECT_FALSE(pmt->b_current_next);
  EXPECT_EQ(pmt->i_pcr_pid, 0x1FFF);
  ASSERT_NE(pmt->p_first_descriptor, nullptr);
  EXPECT_EQ(pmt->p_first_descriptor->i_tag, 0x09);
  const auto* const first = pmt->p_first_es;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_type, 0xFF);
  EXPECT_EQ(first->i_pid, 0x1FFE);
  ASSERT_NE(first->p_first_descriptor, nullptr);
  EXPECT_EQ(first->p_first_descriptor->i_tag, 0x0A);
  ASSERT_NE(first->p_next, nullptr);
  EXPECT_EQ(first->p_next->i_pid, 0);
  EXPECT_EQ(first->p_next->p_next, nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(PmtConverter, SmallTableIsThisSection) {
  const PmtTable pmt(t2dPMT(pmtOf({descriptor(0x09, "ca")}, {stream(0x1B, 0x101, {descriptor(0x05, "x")})})));
  const Bytes expected = {0x02, 0xB0, 0x19, 0x04, 0x01, 0xCF, 0x00, 0x00, 0xE1, 0x00, 0xF0, 0x04, 0x09, 0x02,
                          0x63, 0x61, 0x1B, 0xE1, 0x01, 0xF0, 0x03, 0x05, 0x01, 0x78, 0x7E, 0x54, 0x58, 0xEF};
  EXPECT_THAT(sectionsOf(*pmt), ElementsAre(expected));
}

TEST_F(PmtConverter, ArrivesWholeInItsOneSection) {
  expectWhole(pmtOf({}, {}));
  expectWhole(pmtOf({descriptorOf(0)}, {}));
  expectWhole(
      pmtOf({descriptorOf(6)}, {stream(0x1B, 0x100, {descriptorOf(3), descriptorOf(0)}), stream(4, 0x1FFF)}));
  PMT next = pmtOf({}, {stream(2, 0x20)});
  next.current_next_indicator = false;
  expectWhole(next);
}

TEST_F(PmtConverter, SectionOf1024BytesIsTheLongest) {
  expectWhole(pmtOfSize(1024));
  EXPECT_THAT(refusal(pmtOfSize(1025)),
              ElementsAre("PMT: needs 1025 bytes, more than the 1024 of its one section"));
  const Descriptors full = {descriptorOf(255), descriptorOf(255), descriptorOf(255), descriptorOf(235)};
  expectWhole(pmtOf(full, {}));
  EXPECT_THAT(refusal(pmtOf(full, {stream(2, 0x20)})),
              ElementsAre("PMT: needs 1029 bytes, more than the 1024 of its one section"));
  expectWhole(pmtOf({}, std::vector<PMTStream>(201, stream(6, 0x300))));
  EXPECT_THAT(refusal(pmtOf({}, std::vector<PMTStream>(202, stream(6, 0x300)))),
              ElementsAre("PMT: needs 1026 bytes, more than the 1024 of its one section"));
}

TEST_F(PmtConverter, RandomTablesArriveWholeOrNeedMoreThanASection) {
  int accepted = 0;
  for (unsigned seed = 0; seed < 5000; ++seed) {
    RandomParts random(seed);
    PMT record = pmtOf(random.descriptors(random.number(0, 4)), {});
    std::size_t size = 16;
    for (const auto& descriptor : record.descriptors) size += 2 + descriptor.data.size();
    for (int left = random.number(0, 8); left > 0; --left) {
      record.streams.push_back(stream(random.number(0, 255), random.number(0, 0x1FFF), random.descriptors(3)));
      size += 5;
      for (const auto& descriptor : record.streams.back().descriptors) size += 2 + descriptor.data.size();
    }
    if (size <= 1024) {
      ++accepted;
      expectWhole(record);
      ASSERT_FALSE(HasFailure()) << "seed " << seed;
    } else {
      ASSERT_THAT(refusal(record), ElementsAre("PMT: needs " + std::to_string(size) +
                                               " bytes, more than the 1024 of its one section"));
    }
  }
  EXPECT_GT(accepted, 1000);
  EXPECT_LT(accepted, 4000);
}

TEST_F(PmtConverter, RefusesNumbersThatDoNotFitTheirFields) {
  PMT record = pmtOf({}, {});
  record.program_number = 0x10000;
  EXPECT_THAT(refusal(record), ElementsAre("PMT: program_number: 65536 is above 0xFFFF"));
  record.program_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("PMT: program_number: -1 is negative"));
  record = pmtOf({}, {});
  record.pcr_pid = 0x2000;
  EXPECT_THAT(refusal(record), ElementsAre("PMT: pcr_pid: 8192 is above 0x1FFF"));
  record.pcr_pid = -2;
  EXPECT_THAT(refusal(record), ElementsAre("PMT: pcr_pid: -2 is negative"));
  EXPECT_THAT(refusal(pmtOf({}, {stream(2, 1), stream(256, 1)})),
              ElementsAre("PMT: streams[1].stream_type: 256 is above 0xFF"));
  EXPECT_THAT(refusal(pmtOf({}, {stream(-1, 1)})), ElementsAre("PMT: streams[0].stream_type: -1 is negative"));
  EXPECT_THAT(refusal(pmtOf({}, {stream(2, 9000)})),
              ElementsAre("PMT: streams[0].elementary_pid: 9000 is above 0x1FFF"));
  EXPECT_THAT(refusal(pmtOf({}, {stream(2, -7)})), ElementsAre("PMT: streams[0].elementary_pid: -7 is negative"));
}

TEST_F(PmtConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  EXPECT_THAT(refusal(pmtOf({descriptorOf(1), descriptor(256, "")}, {})),
              ElementsAre("PMT: descriptors[1].tag: 256 is above 0xFF"));
  EXPECT_THAT(refusal(pmtOf({}, {stream(2, 1), stream(2, 1, {descriptorOf(256)})})),
              ElementsAre("PMT: streams[1].descriptors[0].data: 256 bytes are more than 255"));
}

TEST_F(PmtConverter, LeavesVersionsAbove31ToTheCaller) {
  PMT record = pmtOf({}, {});
  record.version_number = 256;
  const PmtTable pmt(t2dPMT(record));
  ASSERT_NE(pmt, nullptr);
  EXPECT_GT(pmt->i_version, 31);
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("PMT: version_number: -1 is negative"));
}
