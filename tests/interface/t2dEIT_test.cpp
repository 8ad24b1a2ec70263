#include "interface/converters/t2dEIT.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interface/converters/owned.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/decoding.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::EitTable;

namespace {

constexpr int kDay = 60000;  // MJD
constexpr std::int64_t kUndefined = 0xFFFFFFFFFF;

std::int64_t startTime(int day, int hour) {
  return static_cast<std::int64_t>(day) << 24 | static_cast<std::int64_t>(hour / 10 * 16 + hour % 10) << 16;
}

EITEvent event(int id, std::int64_t start, const Descriptors& descriptors = {}) {
  EITEvent event;
  event.event_id = id;
  event.start_time = start;
  event.duration = 0x013000;
  event.running_status = static_cast<std::int16_t>(id % 8);
  event.free_CA_mode = id % 2 == 1;
  event.descriptors = descriptors;
  return event;
}

EIT eitOf(const std::vector<EITEvent>& events, int tableId = 0x50) {
  EIT record;
  record.table_id = static_cast<std::int16_t>(tableId);
  record.service_id = 0x0401;
  record.version_number = 11;
  record.transport_stream_id = 0x0101;
  record.original_network_id = 0x20FA;
  record.events = events;
  return record;
}

EIT standard(const std::vector<EITEvent>& events, int tableId = 0x50) {
  EIT record = eitOf(events, tableId);
  record.__set_sectioning(EITSectioning::STANDARD);
  return record;
}

/// An event that fills a section: 4064 bytes of descriptors.
EITEvent fullEvent(int id, std::int64_t start) {
  EITEvent full = event(id, start, Descriptors(15, descriptorOf(255)));
  full.descriptors.push_back(descriptorOf(207));
  return full;
}

std::vector<EITEvent> fullEvents(int count) {
  std::vector<EITEvent> events;
  for (int id = 0; id < count; ++id) events.push_back(fullEvent(id, startTime(kDay, 1)));
  return events;
}

class EitConverter : public testing::Test {
 protected:
  std::vector<std::string> refusal(const EIT& record) {
    EXPECT_EQ(EitTable(t2dEIT(record)), nullptr);
    return log.takeErrors();
  }

  bool isAccepted(const EIT& record) {
    const EitTable eit(t2dEIT(record));
    const auto errors = log.takeErrors();
    return eit != nullptr && errors.empty() && !sectionsOf(*eit, record).empty();
  }

  void expectWhole(const EIT& record, std::size_t sectionCount) {
    const EitTable eit(t2dEIT(record));
    ASSERT_NE(eit, nullptr) << testing::PrintToString(log.takeErrors());
    const auto sections = sectionsOf(*eit, record);
    EXPECT_EQ(faultIn(sections), "");
    ASSERT_THAT(sections, SizeIs(sectionCount));
    EXPECT_EQ(tableId(sections[0]), record.table_id);
    EXPECT_EQ(extension(sections[0]), record.service_id);
    EXPECT_EQ(version(sections[0]), record.version_number);
    EXPECT_EQ(isCurrent(sections[0]), record.current_next_indicator);
    EXPECT_EQ(eventsIn(sections), record.events);
    EIT decoded = record;
    if (!decoded.__isset.last_table_id) decoded.__set_last_table_id(record.table_id);
    EXPECT_EQ(decodedEit(sections), decoded);
  }

  RecordedLog log;
};

}  // namespace

TEST_F(EitConverter, EveryFieldReachesTheTable) {
  EIT record = eitOf({event(0xFFFF, 0xFFFEFFFDFC, {descriptor(0x4D, "short")}), event(0, 0)}, 0x5F);
  record.service_id = 0xFFFE;
  record.version_number = 31;
  record.current_next_indicator = false;
  record.transport_stream_id = 0xFFFD;
  record.original_network_id = 0xFFFC;
  record.__set_last_table_id(0x5E);
  record.events[0].duration = 0xFFFEFD;
  const EitTable eit(t2dEIT(record));
  ASSERT_NE(eit, nullptr);
  EXPECT_EQ(eit->i_table_id, 0x5F);
  EXPECT_EQ(eit->i_extension, 0xFFFE);
  EXPECT_EQ(eit->i_version, 31);
  EXPECT_FALSE(eit->b_current_next);
  EXPECT_EQ(eit->i_ts_id, 0xFFFD);
  EXPECT_EQ(eit->i_network_id, 0xFFFC);
  EXPECT_EQ(eit->i_segment_last_section_number, 0);
  EXPECT_EQ(eit->i_last_table_id, 0x5E);
  const auto* const first = eit->p_first_event;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->i_event_id, 0xFFFF);
  EXPECT_EQ(first->i_start_time, 0xFFFEFFFDFCU);
  EXPECT_EQ(first->i_duration, 0xFFFEFDU);
  EXPECT_EQ(first->i_running_status, 7);
  EXPECT_TRUE(first->b_free_ca);
  EXPECT_EQ(first->i_descriptors_length, 7);
  ASSERT_NE(first->p_first_descriptor, nullptr);
  EXPECT_EQ(first->p_first_descriptor->i_tag, 0x4D);
  ASSERT_NE(first->p_next, nullptr);
  EXPECT_EQ(first->p_next->i_event_id, 0);
  EXPECT_EQ(first->p_next->p_next, nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(EitConverter, SmallTableIsThisSection) {
  const EIT record = eitOf({event(0x0203, 0xEA60123456, {descriptor(0x4D, "ab")})});
  const EitTable eit(t2dEIT(record));
  const Bytes expected = {0x50, 0xF0, 0x1F, 0x04, 0x01, 0xD7, 0x00, 0x00, 0x01, 0x01, 0x20, 0xFA,
                          0x00, 0x50, 0x02, 0x03, 0xEA, 0x60, 0x12, 0x34, 0x56, 0x01, 0x30, 0x00,
                          0x70, 0x04, 0x4D, 0x02, 0x61, 0x62, 0xA9, 0x0E, 0x54, 0x4F};
  EXPECT_THAT(sectionsOf(*eit, record), ElementsAre(expected));
}

TEST_F(EitConverter, LastTableIdIsTheTablesOwnUnlessGiven) {
  EIT record = eitOf({}, 0x52);
  EXPECT_EQ(EitTable(t2dEIT(record))->i_last_table_id, 0x52);
  record.__set_last_table_id(0x53);
  EXPECT_EQ(EitTable(t2dEIT(record))->i_last_table_id, 0x53);
}

TEST_F(EitConverter, PackedTableArrivesWhole) {
  expectWhole(eitOf({}), 1);
  EIT record = eitOf({event(1, 0), event(0xFFFF, 0xFFFFFFFFFE, {descriptorOf(0), descriptorOf(9)})}, 0x4E);
  record.__set_last_table_id(0x51);
  record.events[0].duration = 0xFFFFFF;
  expectWhole(record, 1);
  expectWhole(eitOf(fullEvents(5), 0x6F), 5);
  expectWhole(eitOf(fullEvents(256)), 256);
}

TEST_F(EitConverter, PackedEventsMayHaveUndefinedTimesAndAnyOrder) {
  EIT record = eitOf({event(2, startTime(kDay, 20)), event(1, startTime(kDay, 2)), event(3, kUndefined)});
  record.events[2].duration = 0x003000;
  const EitTable eit(t2dEIT(record));
  ASSERT_NE(eit, nullptr);
  EXPECT_EQ(eventsIn(sectionsOf(*eit, record)), record.events);
}

TEST_F(EitConverter, PackedTableMayHaveAnyTableId) {
  EXPECT_TRUE(isAccepted(eitOf({event(1, 0)}, 0x00)));
  EXPECT_TRUE(isAccepted(eitOf({event(1, 0)}, 0xFF)));
}

TEST_F(EitConverter, PackedTableOf257SectionsIsRefused) {
  EXPECT_THAT(refusal(eitOf(fullEvents(257))), ElementsAre("EIT: events: needs 257 sections, more than 256"));
  EIT record = eitOf(std::vector<EITEvent>(257, event(1, 0)));
  for (EITEvent& event : record.events) event.__set_starts_section(true);
  EXPECT_THAT(refusal(record), ElementsAre("EIT: events: needs 257 sections, more than 256"));
  record.events[9].starts_section = false;
  EXPECT_TRUE(isAccepted(record));
}

TEST_F(EitConverter, EventThatFitsNoSectionIsRefusedHoweverItIsLaidOut) {
  EITEvent tooLong = fullEvent(1, startTime(kDay, 0));
  tooLong.descriptors.back() = descriptorOf(208);
  const std::string refused = "EIT: events[0].descriptors: 4065 bytes do not fit in a section";
  EXPECT_THAT(refusal(eitOf({tooLong})), ElementsAre(refused));
  EXPECT_THAT(refusal(standard({tooLong})), ElementsAre(refused));
  EXPECT_THAT(refusal(standard({tooLong}, 0x4E)), ElementsAre(refused));
  const EITEvent longest = fullEvent(1, startTime(kDay, 0));
  EXPECT_TRUE(isAccepted(eitOf({longest})));
  EXPECT_TRUE(isAccepted(standard({longest})));
  EXPECT_TRUE(isAccepted(standard({longest}, 0x4E)));
}

TEST_F(EitConverter, StandardLayoutIsForTableIdsOfEventsOnly) {
  EXPECT_THAT(refusal(standard({}, 0x4D)),
              ElementsAre("EIT: table_id: 0x4D is none of 0x4E to 0x6F, which STANDARD sectioning is for"));
  EXPECT_THAT(refusal(standard({}, 0x70)),
              ElementsAre("EIT: table_id: 0x70 is none of 0x4E to 0x6F, which STANDARD sectioning is for"));
  for (int id = 0x4E; id <= 0x6F; ++id) EXPECT_TRUE(isAccepted(standard({}, id))) << id;
}

TEST_F(EitConverter, PresentFollowingHoldsTwoEvents) {
  const EITEvent full = fullEvent(1, startTime(kDay, 1));
  EXPECT_TRUE(isAccepted(standard({full, full}, 0x4E)));
  EXPECT_THAT(refusal(standard({event(1, 0), event(2, 0), event(3, 0)}, 0x4F)),
              ElementsAre("EIT: events: 3 are more than the 2 that present/following has"));
}

TEST_F(EitConverter, PresentFollowingWithoutPresentHoldsOneEvent) {
  EIT record = standard({event(1, 0)}, 0x4E);
  record.__set_present_missing(true);
  EXPECT_TRUE(isAccepted(record));
  record.events.push_back(event(2, 0));
  EXPECT_THAT(refusal(record), ElementsAre("EIT: events: 2 are more than the 1 that present/following has"));
  record.present_missing = false;
  EXPECT_TRUE(isAccepted(record));
}

TEST_F(EitConverter, PresentFollowingMayHaveUndefinedTimes) {
  EXPECT_TRUE(isAccepted(standard({event(1, kUndefined)}, 0x4F)));
}

TEST_F(EitConverter, ScheduleLastsFourDaysFromItsFirstDay) {
  EXPECT_TRUE(isAccepted(standard({event(1, startTime(kDay, 23)), event(2, startTime(kDay + 3, 23))})));
  EXPECT_THAT(refusal(standard({event(1, startTime(kDay, 23)), event(2, startTime(kDay + 4, 0))})),
              ElementsAre("EIT: events[1].start_time: 0xEA64000000 is no time within 4 days from MJD 60000"));
  EIT record = standard({event(1, startTime(kDay, 0))});
  record.__set_first_day(kDay - 3);
  EXPECT_TRUE(isAccepted(record));
  record.first_day = kDay - 4;
  EXPECT_THAT(refusal(record),
              ElementsAre("EIT: events[0].start_time: 0xEA60000000 is no time within 4 days from MJD 59996"));
  record.first_day = kDay + 1;
  EXPECT_THAT(refusal(record),
              ElementsAre("EIT: events[0].start_time: 0xEA60000000 is no time within 4 days from MJD 60001"));
}

TEST_F(EitConverter, ScheduleRefusesTimesThatAreNone) {
  EXPECT_THAT(refusal(standard({event(1, kUndefined)})),
              ElementsAre("EIT: events[0].start_time: 0xFFFFFFFFFF is no time within 4 days from MJD 65535"));
  EXPECT_THAT(refusal(standard({event(1, 0xEA60240000)})),
              ElementsAre("EIT: events[0].start_time: 0xEA60240000 is no time within 4 days from MJD 60000"));
  EXPECT_THAT(refusal(standard({event(1, 0xEA601A0000)})),
              ElementsAre("EIT: events[0].start_time: 0xEA601A0000 is no time within 4 days from MJD 60000"));
}

TEST_F(EitConverter, ScheduleTakesSegmentsInAscendingOrder) {
  EXPECT_TRUE(isAccepted(standard({event(1, startTime(kDay, 5)), event(2, startTime(kDay, 3))})));
  EXPECT_THAT(
      refusal(standard({event(1, startTime(kDay, 3)), event(2, startTime(kDay, 2))})),
      ElementsAre("EIT: events[1].start_time: 0xEA60020000 is in a segment before that of the event before"));
}

TEST_F(EitConverter, SegmentHoldsEightSections) {
  EIT record = standard(fullEvents(8));
  record.events.push_back(event(9, startTime(kDay, 3)));
  EXPECT_TRUE(isAccepted(record));
  record.events.back().start_time = startTime(kDay, 2);
  EXPECT_THAT(refusal(record), ElementsAre("EIT: events[8]: needs one more section than the 8 of segment 0"));
  record = standard(std::vector<EITEvent>(9, event(1, startTime(kDay, 22))));
  for (EITEvent& event : record.events) event.__set_starts_section(true);
  EXPECT_THAT(refusal(record), ElementsAre("EIT: events[8]: needs one more section than the 8 of segment 7"));
  record.events[4].starts_section = false;
  EXPECT_TRUE(isAccepted(record));
}

TEST_F(EitConverter, RefusesNumbersThatDoNotFitTheirFields) {
  const auto refusalWith = [this](auto set) {
    EIT record = eitOf({event(1, 0), event(2, 0)});
    set(record);
    return refusal(record);
  };
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.table_id = 256; }), ElementsAre("EIT: table_id: 256 is above 0xFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.table_id = -1; }), ElementsAre("EIT: table_id: -1 is negative"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.service_id = 65536; }),
              ElementsAre("EIT: service_id: 65536 is above 0xFFFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.transport_stream_id = -1; }),
              ElementsAre("EIT: transport_stream_id: -1 is negative"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.original_network_id = 65537; }),
              ElementsAre("EIT: original_network_id: 65537 is above 0xFFFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.__set_last_table_id(300); }),
              ElementsAre("EIT: last_table_id: 300 is above 0xFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.__set_first_day(65536); }),
              ElementsAre("EIT: first_day: 65536 is above 0xFFFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.__set_first_day(-1); }),
              ElementsAre("EIT: first_day: -1 is negative"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.events[1].event_id = 65536; }),
              ElementsAre("EIT: events[1].event_id: 65536 is above 0xFFFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.events[0].start_time = 0x10000000000; }),
              ElementsAre("EIT: events[0].start_time: 1099511627776 is above 0xFFFFFFFFFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.events[0].start_time = -1; }),
              ElementsAre("EIT: events[0].start_time: -1 is negative"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.events[1].duration = 0x1000000; }),
              ElementsAre("EIT: events[1].duration: 16777216 is above 0xFFFFFF"));
  EXPECT_THAT(refusalWith([](EIT& eit) { eit.events[1].running_status = 8; }),
              ElementsAre("EIT: events[1].running_status: 8 is above 0x7"));
}

TEST_F(EitConverter, RefusesTagsAndLengthsThatAreNoneOf8Bits) {
  EXPECT_THAT(refusal(eitOf({event(1, 0), event(2, 0, {descriptorOf(3), descriptor(256, "")})})),
              ElementsAre("EIT: events[1].descriptors[1].tag: 256 is above 0xFF"));
  EXPECT_THAT(refusal(eitOf({event(1, 0, {descriptorOf(256)})})),
              ElementsAre("EIT: events[0].descriptors[0].data: 256 bytes are more than 255"));
}

TEST_F(EitConverter, LeavesVersionsAbove31ToTheCaller) {
  EIT record = eitOf({});
  record.version_number = 32;
  const EitTable eit(t2dEIT(record));
  ASSERT_NE(eit, nullptr);
  EXPECT_EQ(eit->i_version, 32);
  record.version_number = -1;
  EXPECT_THAT(refusal(record), ElementsAre("EIT: version_number: -1 is negative"));
}
