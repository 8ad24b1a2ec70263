#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/eit.h"
#include "programs/tables/kinds/pmt.h"
#include "programs/tables/kinds/programPids.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"
#include "tests/programs/streams.h"

/// PMT, SDT and EIT in JSON.

namespace vantor::tables {
namespace {

using namespace thrift::dvb_tables;
using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

constexpr UtcTime kNow{std::chrono::seconds(1795225308)};  // 2026-11-21T01:41:48Z

TableSet read(const std::string& text) { return readTableSet(text, kNow); }

std::string errorOf(const std::string& text) {
  try {
    read(text);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

std::string pmts(const std::string& list) { return R"({"pmts": [)" + list + "]}"; }

std::string pmt(const std::string& fields) {
  return pmts(R"({"program_number": 5, "pcr_pid": 512, "version_number": 1, )" + fields + "}");
}

std::string service(const std::string& fields) {
  return R"({"sdt_actual": {"transport_stream_id": 1, "original_network_id": 2, "version_number": 3, "services": [{)" +
         fields + "}]}}";
}

constexpr const char* kHead =
    R"("service_id": 7, "transport_stream_id": 4, "original_network_id": 8442, "version_number": 1)";

std::string eit(const char* key, const std::string& fields) {
  return std::string("{\"") + key + "\": [{" + kHead + ", " + fields + "}]}";
}

std::string event(const std::string& fields) { return eit("eit_pf", R"("events": [{)" + fields + "}]"); }

std::string schedule(const std::string& fields) { return eit("eit_schedule", fields); }

constexpr const char* kNoon = R"({"event_id": 1, "start_time": "2026-11-21T12:00:00Z", "duration": "00:30:00"})";
constexpr std::int64_t kDay = 61365;  // MJD of 2026-11-21

TEST(ServiceTables, EveryFieldOfAPmtIsRead) {
  const TableSet set = read(pmts(R"({"program_number": 65535, "pid": 8190, "pcr_pid": 8191, "version_number": 7,
      "current_next_indicator": false, "descriptors": [{"tag": 5, "data": "54455354"}],
      "streams": [{"stream_type": 255, "elementary_pid": 513, "descriptors": [{"tag": 255, "data": "00"}]}]})"));
  ASSERT_EQ(set.pmts.size(), 1U);
  const PMT& pmt = set.pmts[0].pmt;
  EXPECT_EQ(set.pmts[0].pid, 8190);
  EXPECT_EQ(pmt.program_number, 65535);
  EXPECT_EQ(pmt.pcr_pid, 8191);
  EXPECT_EQ(pmt.version_number, 7);
  EXPECT_FALSE(pmt.current_next_indicator);
  ASSERT_EQ(pmt.descriptors.size(), 1U);
  EXPECT_EQ(pmt.descriptors[0].data, "TEST");
  ASSERT_EQ(pmt.streams.size(), 1U);
  EXPECT_EQ(pmt.streams[0].stream_type, 255);
  EXPECT_EQ(pmt.streams[0].elementary_pid, 513);
  EXPECT_EQ(pmt.streams[0].descriptors.size(), 1U);
}

TEST(ServiceTables, EveryFieldOfAnSdtIsRead) {
  const TableSet set = read(R"({"sdt_actual": {"transport_stream_id": 1, "original_network_id": 2,
      "version_number": 3, "current_next_indicator": false, "services": [
      {"service_id": 4, "EIT_schedule_flag": true, "EIT_present_following_flag": true, "running_status": "running",
       "free_CA_mode": true, "descriptors": [{"tag": 128, "data": "01"}]},
      {"service_id": 5, "running_status": 7, "starts_section": true}]},
    "sdt_others": [{"transport_stream_id": 9, "original_network_id": 2, "version_number": 3, "services": []},
                   {"transport_stream_id": 8, "original_network_id": 2, "version_number": 3, "services": []}]})");
  ASSERT_TRUE(set.sdtActual);
  EXPECT_EQ(set.sdtActual->transport_stream_id, 1);
  EXPECT_EQ(set.sdtActual->original_network_id, 2);
  EXPECT_FALSE(set.sdtActual->current_next_indicator);
  const auto& services = set.sdtActual->services;
  ASSERT_EQ(services.size(), 2U);
  EXPECT_TRUE(services[0].EIT_schedule_flag && services[0].EIT_present_following_flag && services[0].free_CA_mode);
  EXPECT_EQ(services[0].running_status, 4);
  EXPECT_EQ(services[0].descriptors.size(), 1U);
  EXPECT_FALSE(services[0].__isset.starts_section);
  EXPECT_FALSE(services[1].EIT_schedule_flag || services[1].EIT_present_following_flag || services[1].free_CA_mode);
  EXPECT_EQ(services[1].running_status, 7);
  EXPECT_TRUE(services[1].starts_section);
  ASSERT_EQ(set.sdtOthers.size(), 2U);
  EXPECT_EQ(set.sdtOthers[0].transport_stream_id, 8);  // in the order of the identifiers
}

TEST(ServiceTables, EveryFieldOfAnEitIsRead) {
  const TableSet set = read(eit("eit_pf", R"("actual": false, "current_next_indicator": false, "last_table_id": 80,
      "sectioning": "packed", "present_missing": true, "events": [{"event_id": 9, "start_time": "undefined",
      "duration": "01:02:03", "running_status": "off_air", "free_CA_mode": true, "starts_section": true,
      "descriptors": [{"tag": 77, "data": ""}]}])"));
  ASSERT_EQ(set.eitPf.size(), 1U);
  const EIT& eit = set.eitPf[0];
  EXPECT_EQ(eit.table_id, 0x4F);
  EXPECT_EQ(eit.service_id, 7);
  EXPECT_EQ(eit.transport_stream_id, 4);
  EXPECT_EQ(eit.original_network_id, 8442);
  EXPECT_FALSE(eit.current_next_indicator);
  EXPECT_EQ(eit.last_table_id, 0x50);
  EXPECT_EQ(eit.sectioning, EITSectioning::PACKED);
  EXPECT_TRUE(eit.present_missing);
  ASSERT_EQ(eit.events.size(), 1U);
  EXPECT_EQ(eit.events[0].event_id, 9);
  EXPECT_EQ(eit.events[0].start_time, 0xFFFFFFFFFF);
  EXPECT_EQ(eit.events[0].duration, 0x010203);
  EXPECT_EQ(eit.events[0].running_status, 5);
  EXPECT_TRUE(eit.events[0].free_CA_mode);
  EXPECT_TRUE(eit.events[0].starts_section);
  EXPECT_EQ(eit.events[0].descriptors.size(), 1U);
}

TEST(ServiceTables, EventsAreSectionedAsTheStandardSaysUnlessToldOtherwise) {
  const TableSet set = read(schedule(R"("events": [)" + std::string(kNoon) + "]"));
  ASSERT_EQ(set.eitSchedule.size(), 1U);
  EXPECT_EQ(set.eitSchedule[0].sectioning, EITSectioning::STANDARD);
  EXPECT_EQ(set.eitSchedule[0].table_id, 0x50);
}

TEST(ServiceTables, EventsWithoutAStartFollowOneAnother) {
  const TableSet set = read(schedule(R"("events": [
      {"event_id": 1, "start_time": "today+22:30", "duration": "01:00:00"}, {"event_id": 2, "duration": "01:00:30"},
      {"event_id": 3, "duration": "00:10:00"}])"));
  const auto& events = set.eitSchedule.at(0).events;
  EXPECT_EQ(events[0].start_time, kDay << 24 | 0x223000);
  EXPECT_EQ(events[1].start_time, kDay << 24 | 0x233000);
  EXPECT_EQ(events[2].start_time, (kDay + 1) << 24 | 0x003030);
  EXPECT_EQ(errorOf(event(R"("event_id": 1, "duration": "00:30:00")")),
            "/eit_pf/0/events/0/start_time: missing field");
  EXPECT_EQ(errorOf(eit("eit_pf", R"("events": [{"event_id": 1, "start_time": "undefined", "duration": "00:30:00"},
                                                {"event_id": 2, "duration": "00:30:00"}])")),
            "/eit_pf/0/events/1/start_time: missing field");
}

TEST(ServiceTables, AScheduleOfManyDaysBecomesSeveralTables) {
  const TableSet set = read(schedule(R"("actual": false, "first_day": "today", "events": [
      {"event_id": 1, "start_time": "today+30:00", "duration": "00:30:00"},
      {"event_id": 2, "start_time": "today+230:00", "duration": "00:30:00"}])"));
  ASSERT_EQ(set.eitSchedule.size(), 3U);
  EXPECT_EQ(set.eitSchedule[0].table_id, 0x60);
  EXPECT_EQ(set.eitSchedule[0].last_table_id, 0x62);
  EXPECT_EQ(set.eitSchedule[0].first_day, kDay);
  EXPECT_EQ(set.eitSchedule[2].table_id, 0x62);
  EXPECT_EQ(set.eitSchedule[2].first_day, kDay + 8);
}

TEST(ServiceTables, AreWrittenForPeople) {
  TableSet set = read(schedule(R"("events": [)" + std::string(kNoon) + "]"));
  set.pmts.push_back({0x100, makePmt(5, 1)});
  set.pmts[0].pmt.streams.clear();
  set.pmts[0].pmt.descriptors.clear();
  SDT sdt = makeSdt(4, 2, 1);
  sdt.services[0].descriptors.clear();
  set.sdtActual = sdt;
  EXPECT_EQ(writeTableSet(set), R"({
  "pmts": [{"program_number": 5, "pid": "0x0100", "pcr_pid": "0x0201", "version_number": 1, "streams": []}],
  "sdt_actual": {
    "transport_stream_id": 4,
    "original_network_id": 8442,
    "version_number": 2,
    "services": [{"service_id": 1, "EIT_present_following_flag": true, "running_status": "running"}]
  },
  "eit_schedule": [
    {
      "service_id": 7,
      "transport_stream_id": 4,
      "original_network_id": 8442,
      "version_number": 1,
      "events": [{"event_id": 1, "start_time": "2026-11-21T12:00:00Z", "duration": "00:30:00"}]
    }
  ]
}
)");
}

TEST(ServiceTables, ComeBackFromJson) {
  TableSet set;
  set.pmts = {{std::nullopt, makePmt(1, 2)}, {0x1FFE, makePmt(2, 40)}};
  set.sdtActual = makeSdt(4, 2, 20);
  set.sdtActual->services[3].__set_starts_section(true);
  set.sdtOthers = {makeSdt(5, 2, 0), makeSdt(6, 2, 3)};
  EIT pf;
  pf.table_id = 0x4F;
  pf.__set_sectioning(EITSectioning::STANDARD);
  pf.__set_present_missing(true);
  pf.events = {makeEvent({1, 0xFFFFFFFFFF})};
  set.eitPf = {pf};
  EIT part;
  part.table_id = 0x63;
  part.__set_last_table_id(0x65);
  part.__set_first_day(kDay);
  part.__set_sectioning(EITSectioning::STANDARD);
  part.events = {makeEvent({1, (kDay + 1) << 24})};
  EIT packed = part;
  packed.table_id = 0x50;
  packed.__isset.last_table_id = packed.__isset.first_day = false;
  packed.last_table_id = 0;
  packed.first_day = 0;
  packed.__set_sectioning(EITSectioning::PACKED);
  packed.events[0].start_time = 0xE489990000;
  set.eitSchedule = {packed, part};
  const TableSet back = read(writeTableSet(set));
  EXPECT_EQ(back.pmts, set.pmts);
  EXPECT_EQ(back.sdtActual, set.sdtActual);
  EXPECT_EQ(back.sdtOthers, set.sdtOthers);
  EXPECT_EQ(back.eitPf, set.eitPf);
  EXPECT_EQ(back.eitSchedule, set.eitSchedule);
}

TEST(ServiceTables, NameTheFieldThatIsWrong) {
  const std::pair<std::string, std::string> cases[] = {
      {pmts(R"({"program_number": 0})"), "/pmts/0/program_number: 0 is below 1"},
      {pmts("5"), "/pmts/0: 5 is not an object"},
      {R"({"pmts": {}})", "/pmts: an object is not an array"},
      {pmt(R"("pid": 31, "streams": [])"), "/pmts/0/pid: 31 is below 0x20"},
      {pmt(R"("pid": 8191, "streams": [])"), "/pmts/0/pid: 8191 is above 0x1FFE"},
      {pmt(R"("x": 1)"), "/pmts/0/x: unknown field"},
      {pmt(R"("pid": 256)"), "/pmts/0/streams: missing field"},
      {pmt(R"("streams": [{"stream_type": 256, "elementary_pid": 1}])"),
       "/pmts/0/streams/0/stream_type: 256 is above 0xFF"},
      {pmt(R"("streams": [{"stream_type": 2, "elementary_pid": 8192}])"),
       "/pmts/0/streams/0/elementary_pid: 8192 is above 0x1FFF"},
      {pmt(R"("streams": [{"stream_type": 2, "pid": 1}])"), "/pmts/0/streams/0/pid: unknown field"},
      {R"({"sdt_actual": {"transport_stream_id": 65536, "original_network_id": 1, "version_number": 1,
                          "services": []}})",
       "/sdt_actual/transport_stream_id: 65536 is above 0xFFFF"},
      {R"({"sdt_others": [{"x": 65536}]})", "/sdt_others/0/x: unknown field"},
      {service(R"("service_id": -1)"), "/sdt_actual/services/0/service_id: -1 is below 0"},
      {service(R"("service_id": 1, "EIT_schedule_flag": 1)"),
       "/sdt_actual/services/0/EIT_schedule_flag: 1 is not true or false"},
      {service(R"("service_id": 1, "running_status": 8)"), "/sdt_actual/services/0/running_status: 8 is above 0x7"},
      {service(R"("service_id": 1, "running_status": "on")"),
       "/sdt_actual/services/0/running_status: \"on\" is none of undefined, not_running, starts_in_a_few_seconds, "
       "pausing, running, off_air"},
      {service(R"("service_id": 1, "running_status": true)"),
       "/sdt_actual/services/0/running_status: true is not an integer"},
      {event(R"("event_id": 65536, "start_time": "now", "duration": "00:30:00")"),
       "/eit_pf/0/events/0/event_id: 65536 is above 0xFFFF"},
      {event(R"("event_id": 1, "start_time": "noon")"),
       "/eit_pf/0/events/0/start_time: \"noon\" is not a time like \"2026-11-21T12:00:00Z\", \"now+00:30\" or "
       "\"today+26:00\""},
      {event(R"("event_id": 1, "start_time": "now")"), "/eit_pf/0/events/0/duration: missing field"},
      {event(R"("event_id": 1, "start_time": "now", "duration": 90)"),
       "/eit_pf/0/events/0/duration: 90 is not a string"},
      {eit("eit_pf", R"("sectioning": "loose", "events": [])"),
       "/eit_pf/0/sectioning: \"loose\" is neither \"standard\" nor \"packed\""},
      {eit("eit_pf", R"("table_id": 78, "events": [])"), "/eit_pf/0/table_id: unknown field"},
      {schedule(R"("table_id": 96, "events": [])"), "/eit_schedule/0/table_id: 96 is above 0x5F"},
      {schedule(R"("actual": false, "table_id": 95, "events": [])"), "/eit_schedule/0/table_id: 95 is below 0x60"},
      {schedule(R"("last_table_id": 81, "events": [])"), "/eit_schedule/0/last_table_id: given without a table_id"},
      {schedule(R"("first_day": "soon", "events": [])"),
       "/eit_schedule/0/first_day: \"soon\" is not a day like \"2026-11-21\" or \"today\""},
      {schedule(R"("first_day": "2026-11-22", "events": [)" + std::string(kNoon) + "]"),
       "/eit_schedule/0/events/0: starts at 2026-11-21T12:00:00Z, which is not within 64 days from 2026-11-22"},
      {schedule(R"("events": [)" + std::string(kNoon) +
                R"(, {"event_id": 2, "start_time": "2026-11-21T11:00:00Z", "duration": "00:30:00"}])"),
       "/eit_schedule/0/events/1: starts at 2026-11-21T11:00:00Z, in a 3-hour segment before that of the event in "
       "front"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(errorOf(text), error) << text;
}

TEST(ServiceTables, AreRefusedWhenTheLibraryCouldNotSendThem) {
  std::string descriptors;
  for (int i = 0; i < 5; ++i)
    descriptors += (i > 0 ? ", " : "") + (R"({"tag": 128, "data": ")" + std::string(510, '0') + "\"}");
  const std::string longList = R"("descriptors": [)" + descriptors + "]";
  EXPECT_EQ(errorOf(pmt(longList + R"(, "streams": [])")),
            "/pmts/0: needs 1301 bytes, more than the 1024 of its one section");
  EXPECT_EQ(errorOf(service(R"("service_id": 1, )" + longList)),
            "/sdt_actual/services/0/descriptors: 1285 bytes do not fit in a section");
  const std::string three = std::string(kNoon) + ", " + kNoon + ", " + kNoon;
  EXPECT_EQ(errorOf(eit("eit_pf", R"("events": [)" + three + "]")),
            "/eit_pf/0/events: 3 are more than the 2 that present/following has");
  EXPECT_EQ(errorOf(eit("eit_pf", R"("sectioning": "packed", "events": [)" + three + "]")), "accepted");
}

TEST(ServiceTables, NameAnEventWhereItStandsInTheScheduleAndNotInItsTable) {
  std::string descriptors;
  for (int i = 0; i < 16; ++i)
    descriptors += (i > 0 ? ", " : "") + (R"({"tag": 128, "data": ")" + std::string(510, '0') + "\"}");
  const std::string event = R"({"event_id": 1, "duration": "01:00:00", "start_time": )";
  const std::string events = event + R"("2026-11-21T00:00:00Z"}, )" + event + R"("2026-11-22T00:00:00Z"}, )" +
                             event + R"("2026-11-25T00:00:00Z"}, )" + event + R"("2026-11-29T00:00:00Z")";
  EXPECT_EQ(errorOf(schedule(R"("events": [)" + events + "}]")), "accepted");
  EXPECT_EQ(errorOf(schedule(R"("events": [)" + events + R"(, "descriptors": [)" + descriptors + "]}]")),
            "/eit_schedule/0/events/3/descriptors: 4112 bytes do not fit in a section");
}

TEST(ServiceTables, AreRefusedWhenGivenTwice) {
  const std::string pmtTwice = R"({"program_number": 5, "pcr_pid": 1, "version_number": 1, "streams": []})";
  EXPECT_EQ(errorOf(pmts(pmtTwice + ", " + pmtTwice)), "/pmts/1: the same table as in /pmts/0");
  const std::string sdt =
      R"({"transport_stream_id": 9, "original_network_id": 2, "version_number": 3, "services": []})";
  EXPECT_EQ(errorOf(R"({"sdt_others": [)" + sdt + ", " + sdt + "]}"),
            "/sdt_others/1: the same table as in /sdt_others/0");
  const std::string table = std::string("{") + kHead + R"(, "table_id": 80, "events": []})";
  const std::string whole = std::string("{") + kHead + R"(, "events": []})";
  EXPECT_EQ(errorOf(R"({"eit_schedule": [)" + table + ", " + whole + "]}"),
            "/eit_schedule/1: the same table as in /eit_schedule/0");
}

constexpr const char* kPat =
    R"("pat": {"transport_stream_id": 1, "version_number": 0, "programs": [{"program_number": 5, "pid": 257},
       {"program_number": 6, "pid": 17}]})";

TEST(ServiceTables, APmtWithoutAPidGetsTheOneOfThePat) {
  TableSet set = read(std::string("{") + kPat + R"(, "pmts": [{"program_number": 5, "pcr_pid": 512,
                                                    "version_number": 1, "streams": []}]})");
  EXPECT_EQ(set.pmts[0].pid, std::nullopt);
  settlePids(set);
  EXPECT_EQ(set.pmts[0].pid, 257);
}

TEST(ServiceTables, APmtWithAPidNeedsNoPat) {
  TableSet set;
  set.pmts = {{0x100, makePmt(1, 2)}};
  settlePids(set);
  EXPECT_EQ(set.pmts[0].pid, 0x100);
}

TEST(ServiceTables, APidOtherThanThatOfThePatIsRefused) {
  EXPECT_EQ(errorOf(std::string("{") + kPat + R"(, "pmts": [{"program_number": 5, "pid": 256, "pcr_pid": 512,
                                                "version_number": 1, "streams": []}]})"),
            "/pmts/0/pid: 0x0100 is not the PID 0x0101 that the PAT gives it");
}

std::string settlingError(TableSet set) {
  try {
    settlePids(set);
  } catch (const InputError& error) {
    return error.what();
  }
  return "settled";
}

TEST(ServiceTables, APmtThatCannotBePlacedIsNamed) {
  TableSet set = read(std::string("{") + kPat + "}");
  set.pmts = {{std::nullopt, makePmt(7, 1)}};
  EXPECT_EQ(settlingError(set), "PMT 7: it has no PID, and no PAT names the program");
  set.pmts = {{std::nullopt, makePmt(6, 1)}};
  EXPECT_EQ(settlingError(set), "PMT 6: the PAT gives it the PID 0x0011, which is reserved");
  set.pmts = {{0x100, makePmt(5, 1)}};
  EXPECT_EQ(settlingError(set), "PMT 5: 0x0100 is not the PID 0x0101 that the PAT gives it");
}

TEST(ServiceTables, OfALaterFileReplaceTheirNamesakesAlone) {
  TableSet set;
  set.pmts = {{0x100, makePmt(1, 1)}, {0x101, makePmt(2, 1)}};
  set.sdtOthers = {makeSdt(5, 1, 0), makeSdt(6, 1, 0)};
  TableSet later;
  later.pmts = {{0x102, makePmt(2, 9)}, {0x103, makePmt(3, 9)}};
  later.sdtOthers = {makeSdt(5, 9, 0)};
  merge(later, set);
  EXPECT_EQ(set.pmts,
            (std::vector<ProgramMap>{{0x100, makePmt(1, 1)}, {0x102, makePmt(2, 9)}, {0x103, makePmt(3, 9)}}));
  EXPECT_THAT(set.sdtOthers, ElementsAre(makeSdt(5, 9, 0), makeSdt(6, 1, 0)));
}

TEST(ServiceTables, OfALaterFileReplaceAScheduleAsAWhole) {
  TableSet set = read(schedule(R"("events": [{"event_id": 1, "start_time": "today", "duration": "00:30:00"},
                                             {"event_id": 2, "start_time": "today+150:00", "duration": "00:30:00"}])"));
  ASSERT_EQ(set.eitSchedule.size(), 2U);
  const TableSet later = read(schedule(R"("events": [)" + std::string(kNoon) + "]"));
  merge(later, set);
  EXPECT_EQ(set.eitSchedule, later.eitSchedule);
}

TEST(ServiceTables, WarnOfWhatIsSentInAnotherWay) {
  TableSet set;
  set.pmts = {{0x100, makePmt(5, 32)}};
  const std::string version = "PMT 5: version 32 is above 31 and is sent as 0";
  EXPECT_THAT(pmtKind().warnings(set), ElementsAre(version));
  EIT eit;
  eit.table_id = 0x4F;
  eit.service_id = 7;
  eit.transport_stream_id = 1;
  EIT namesake = eit;
  namesake.transport_stream_id = 2;
  set.eitPf = {eit, namesake};
  eit.table_id = namesake.table_id = 0x60;
  set.eitSchedule = {eit, namesake};
  EXPECT_THAT(
      warningsOf(set, TimingProfile::Classic),
      UnorderedElementsAre(version, "EIT p/f other 7: of transport streams 1 and 2 only the latter's is sent",
                           "EIT schedule other 60 7: of transport streams 1 and 2 only the latter's is sent"));
  EXPECT_THAT(warningsOf(set, TimingProfile::Standards), ElementsAre(version));
}

}  // namespace
}  // namespace vantor::tables
