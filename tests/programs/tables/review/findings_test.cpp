#include "programs/tables/review/findings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/review/collisions.h"
#include "programs/tables/review/identity.h"
#include "programs/tables/review/overlaps.h"
#include "programs/tables/review/references.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"
#include "tests/programs/streams.h"

namespace vantor::tables::findings_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// "error /pmts/0/pid: text", as they stand in the document.
std::vector<std::string> linesOf(const std::vector<Finding>& findings, const Json& document) {
  std::vector<std::string> lines;
  for (const Finding& finding : findings) {
    const auto pointer = pointerTo(finding.place, document);
    lines.push_back((finding.severity == Severity::kError ? "error " : "warning ") + pointer.value_or("?") + ": " +
                    finding.text);
  }
  return lines;
}

using Look = std::vector<Finding> (*)(const TableSet&);

std::vector<std::string> linesOf(Look look, const std::string& text) {
  return linesOf(look(readTableSet(text)), parseJson(text));
}

std::string pat(const std::string& programs) {
  return R"({"pat": {"transport_stream_id": 1, "version_number": 1, "programs": [)" + programs + "]}";
}

std::string service(int id) { return R"({"service_id": )" + std::to_string(id) + "}"; }

std::string sdt(const std::string& services, int stream = 1) {
  return R"({"transport_stream_id": )" + std::to_string(stream) +
         R"(, "original_network_id": 2, "version_number": 1, "services": [)" + services + "]}";
}

std::string event(int id, const std::string& start, const std::string& duration) {
  return R"({"event_id": )" + std::to_string(id) + R"(, "start_time": "2026-11-21T)" + start +
         R"(Z", "duration": ")" + duration + "\"}";
}

std::string eit(int serviceId, const std::string& events, const std::string& more = "") {
  return R"({"service_id": )" + std::to_string(serviceId) +
         R"(, "transport_stream_id": 1, "original_network_id": 2, "version_number": 1)" + more +
         R"(, "events": [)" + events + "]}";
}

std::string pmt(int program, int pid, const std::string& streams, int pcrPid = 8191,
                const std::string& descriptors = "") {
  return R"({"program_number": )" + std::to_string(program) + R"(, "pid": )" + std::to_string(pid) +
         R"(, "pcr_pid": )" + std::to_string(pcrPid) + R"(, "version_number": 1, "descriptors": [)" + descriptors +
         R"(], "streams": [)" + streams + "]}";
}

std::string stream(int pid, int type = 2, const std::string& descriptors = "") {
  return R"({"stream_type": )" + std::to_string(type) + R"(, "elementary_pid": )" + std::to_string(pid) +
         R"(, "descriptors": [)" + descriptors + "]}";
}

std::string ca(int pid) { return R"({"CA": {"CA_system_ID": 1, "CA_PID": )" + std::to_string(pid) + "}}"; }

std::string pmts(const std::string& list) { return R"({"pmts": [)" + list + "]}"; }

TEST(Duplicates, AreProgramsServicesStreamsAndEvents) {
  EXPECT_THAT(linesOf(&duplicatesIn, pat(R"({"program_number": 1, "pid": 32}, {"program_number": 2, "pid": 33},
                                            {"program_number": 1, "pid": 34})") +
                                         "}"),
              ElementsAre("error /pat/programs/2: program_number 1 stands there twice, first in /pat/programs/0"));
  EXPECT_THAT(linesOf(&duplicatesIn, R"({"sdt_actual": )" + sdt(service(5) + "," + service(5)) + "}"),
              ElementsAre("error /sdt_actual/services/1: service_id 5 stands there twice, first in /services/0"));
  EXPECT_THAT(linesOf(&duplicatesIn, R"({"sdt_others": [)" + sdt(service(5), 9) + "," +
                                         sdt(service(7) + "," + service(7), 8) + "]}"),
              ElementsAre("error /sdt_others/1/services/1: service_id 7 stands there twice, first in /services/0"));
  EXPECT_THAT(linesOf(&duplicatesIn,
                      R"({"nit": {"network_id": 1, "version_number": 1, "transport_streams": [
                            {"transport_stream_id": 1, "original_network_id": 1},
                            {"transport_stream_id": 1, "original_network_id": 2},
                            {"transport_stream_id": 1, "original_network_id": 1}]}})"),
              ElementsAre("error /nit/transport_streams/2: transport_stream_id 1 stands there twice, first in "
                          "/transport_streams/0"));
}

TEST(Duplicates, AreStreamsOfNetworksAndBouquetsAndTablesAmongTheWholeSections) {
  const std::string twice = R"({"transport_stream_id": 1, "original_network_id": 1},
                               {"transport_stream_id": 1, "original_network_id": 1})";
  const auto networks = [](const char* kind, const char* id, const std::string& streams) {
    return std::string("\"") + kind + R"(": [{")" + id + R"(": 7, "transport_streams": []}, {")" + id +
           R"(": 8, "transport_streams": [)" + streams + "]}]";
  };
  const std::string end =
      "/transport_streams/1: transport_stream_id 1 stands there twice, first in "
      "/transport_streams/0";
  EXPECT_THAT(linesOf(&duplicatesIn, "{" + networks("nit_others", "network_id", twice) + "}"),
              ElementsAre("error /nit_others/1" + end));
  EXPECT_THAT(linesOf(&duplicatesIn, "{" + networks("bats", "bouquet_id", twice) + "}"),
              ElementsAre("error /bats/1" + end));
  const auto sections = [](int pid, unsigned tableId) {
    return R"(, "sections": [{"pid": )" + std::to_string(pid) + R"(, "sections": [")" +
           hexDigits(vantor::testing::makeSection(tableId, 8, 1, 0, 0, "")) + "\"]}]}";
  };
  EXPECT_THAT(linesOf(&duplicatesIn, "{" + networks("bats", "bouquet_id", "") + sections(17, 0x4A)),
              ElementsAre("error /bats/1: BAT 8 stands there twice, among the whole sections too"));
  EXPECT_THAT(linesOf(&duplicatesIn, "{" + networks("nit_others", "network_id", "") + sections(16, 0x41)),
              ElementsAre("error /nit_others/1: NIT other 8 stands there twice, among the whole sections too"));
  EXPECT_THAT(linesOf(&duplicatesIn, "{" + networks("bats", "bouquet_id", "") + sections(300, 0x4A)), IsEmpty());
}

TEST(Duplicates, AreEventsOfOneServiceInOneKindOfTable) {
  const std::string twice = event(7, "12:00:00", "01:00:00") + "," + event(7, "13:00:00", "01:00:00");
  EXPECT_THAT(linesOf(&duplicatesIn, R"({"eit_pf": [)" + eit(3, twice) + "]}"),
              ElementsAre("error /eit_pf/0/events: EIT p/f actual 3 of 1/2: event_id 7 stands there twice"));
  EXPECT_THAT(linesOf(&duplicatesIn, R"({"eit_schedule": [)" + eit(3, twice, R"(, "actual": false)") + "]}"),
              ElementsAre("error /eit_schedule/0/events: EIT schedule other 60 3 of 1/2: event_id 7 stands there "
                          "twice"));
  // The schedule has the present event too, and another service its own.
  const std::string once = event(7, "12:00:00", "01:00:00");
  EXPECT_THAT(linesOf(&duplicatesIn, R"({"eit_pf": [)" + eit(3, once) + "," + eit(4, once) +
                                         R"(], "eit_schedule": [)" + eit(3, once) + "]}"),
              IsEmpty());
}

TEST(PidCollisions, AreTwoThingsOnOnePid) {
  EXPECT_THAT(
      linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101)) + "," + pmt(2, 102, stream(100)))),
      ElementsAre("error /pmts/1/streams/0/elementary_pid: PID 0x0064: elementary stream of PMT 2 on that of "
                  "the PMT of PMT 1"));
  EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101), 100))),
              ElementsAre("error /pmts/0/pcr_pid: PID 0x0064: PCR of PMT 1 on that of the PMT of PMT 1"));
  EXPECT_THAT(
      linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101, 2, ca(102)) + "," + stream(102)))),
      ElementsAre("error /pmts/0/streams/1/elementary_pid: PID 0x0066: elementary stream of PMT 1 on that of "
                  "the ECMs of PMT 1"));
  EXPECT_THAT(
      linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101), 8191, ca(101)))),
      ElementsAre("error /pmts/0/streams/0/elementary_pid: PID 0x0065: elementary stream of PMT 1 on that of "
                  "the ECMs of PMT 1"));
  EXPECT_THAT(linesOf(&pidCollisionsIn, R"({"cat": {"version_number": 1, "descriptors": [)" + ca(100) + R"(]},)" +
                                            pmts(pmt(1, 100, "")).substr(1)),
              ElementsAre("error /cat/descriptors/0: PID 0x0064: EMMs of CAT on that of the PMT of PMT 1"));
  EXPECT_THAT(linesOf(&pidCollisionsIn,
                      R"({"conditional_access": {"scrambler_type": 3, "ecm_pids": [{"usid": 1, "pids": [100]}],
                          "emm_pids": [{"usid": 1, "pids": [100]}]}})"),
              ElementsAre("error /conditional_access: PID 0x0064: EMMs on that of the ECMs"));
  EXPECT_THAT(
      linesOf(&pidCollisionsIn,
              R"({"atsc": {"mgt": {"version_number": 1, "tables": [{"table_type": 256, "table_type_pid": 100,
                          "table_type_version_number": 0, "number_bytes": 0}]}},)" +
                  pmts(pmt(1, 100, "")).substr(1)),
      ElementsAre("error /atsc/mgt/tables/0: PID 0x0064: ATSC table on that of the PMT of PMT 1"));
}

TEST(PidCollisions, AreNoSharedPmtPidsNorPcrsInStreamsNorEcmsOfTwoPrograms) {
  EXPECT_THAT(linesOf(&pidCollisionsIn,
                      pmts(pmt(1, 100, stream(101), 101, ca(103)) + "," + pmt(2, 100, stream(102), 101, ca(103)))),
              IsEmpty());
}

TEST(PidCollisions, AreStreamsTwiceInAProgramAndSharedOnesToLookAt) {
  EXPECT_THAT(
      linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101) + "," + stream(101)))),
      ElementsAre("error /pmts/0/streams/1/elementary_pid: PID 0x0065: elementary stream of PMT 1 on that of "
                  "the elementary stream of PMT 1"));
  const std::string place = "/pmts/1/streams/0/elementary_pid: PID 0x0065: elementary stream of PMT 2";
  EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101)) + "," + pmt(2, 102, stream(101)))),
              ElementsAre("warning " + place + ", shared with the elementary stream of PMT 1"));
  EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(101, 2)) + "," + pmt(2, 102, stream(101, 3)))),
              ElementsAre("error " + place + " on that of the elementary stream of PMT 1"));
}

TEST(PidCollisions, AreWholeSectionsInStreamsThatAreNone) {
  const auto sections = [](const std::string& pid) {
    const auto item = [&](unsigned tableId) {
      return "{\"pid\": " + pid + R"(, "sections": [")" +
             hexDigits(vantor::testing::makeSection(tableId, 8, 1, 0, 0, "")) + "\"]}";
    };
    return R"(, "sections": [)" + item(0x74) + ", " + item(0x90) + "]}";
  };
  const auto with = [&](int type, const std::string& pid) {
    const std::string list = pmts(pmt(1, 100, stream(101, type), 102, ca(103)));
    return linesOf(&pidCollisionsIn, list.substr(0, list.size() - 1) + sections(pid));
  };
  for (const char* const pid : {"101", "\"0x0065\"", "\"0x65\""})
    EXPECT_THAT(with(2, pid),
                ElementsAre("error /sections/0/pid: PID 0x0065: whole sections of AIT 8 on that of the "
                            "elementary stream of PMT 1",
                            "error /sections/1/pid: PID 0x0065: whole sections of table id 0x90 on that "
                            "of the elementary stream of PMT 1"));
  for (const int type : {0x05, 0x0B, 0x86, 0xC0}) EXPECT_THAT(with(type, "101"), IsEmpty()) << type;
  for (const char* const pid : {"0", "17", "31", "100", "102", "103", "8187"})
    EXPECT_THAT(with(2, pid), IsEmpty()) << pid;
}

TEST(PidCollisions, AreReservedPids) {
  for (const int pid : {0, 17, 31, 8191})
    EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(pid)))),
                Contains(::testing::HasSubstr("elementary stream of PMT 1 on a reserved PID")))
        << pid;
  EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(32) + "," + stream(8190)))), IsEmpty());
  EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, "", 31))),
              ElementsAre("error /pmts/0/pcr_pid: PID 0x001F: PCR of PMT 1 on a reserved PID"));
  EXPECT_THAT(linesOf(&pidCollisionsIn, pmts(pmt(1, 100, stream(8187)))), IsEmpty());
  const std::string atsc = R"({"atsc": {"stt": true},)";
  EXPECT_THAT(linesOf(&pidCollisionsIn, atsc + pmts(pmt(1, 100, stream(8187) + "," + stream(17))).substr(1)),
              ElementsAre("error /pmts/0/streams/0/elementary_pid: PID 0x1FFB: elementary stream of PMT 1 on a "
                          "reserved PID"));
}

TEST(PidCollisions, AreNetworkPidsThatAreNotTheNits) {
  EXPECT_THAT(
      linesOf(&pidCollisionsIn, pat(R"({"program_number": 1, "pid": 32}, {"program_number": 0, "pid": 33})") + "}"),
      ElementsAre("error /pat/programs/1: program 0, the network PID, is 0x0021 and not 0x0010"));
  EXPECT_THAT(linesOf(&pidCollisionsIn, pat(R"({"program_number": 0, "pid": 16})") + "}"), IsEmpty());
}

TEST(BrokenReferences, AreServicesWithoutPatEntryOrPmt) {
  const std::string set = pat(R"({"program_number": 0, "pid": 16}, {"program_number": 1, "pid": 100},
                                 {"program_number": 2, "pid": 101})") +
                          R"(, "pmts": [)" + pmt(1, 100, "") + "," + pmt(4, 103, "") + R"(], "sdt_actual": )" +
                          sdt(service(1) + "," + service(2) + "," + service(3)) + "}";
  EXPECT_THAT(
      linesOf(&brokenReferencesIn, set),
      ElementsAre("warning /sdt_actual/services/1: service 2 has no PMT",
                  "warning /sdt_actual/services/2: service 3 is not in the PAT",
                  "warning /sdt_actual/services/2: service 3 has no PMT",
                  "warning /pat/programs/2: program 2 has no PMT", "warning /pmts/1: PMT 4 is not in the PAT"));
}

TEST(BrokenReferences, AreNotMissedWhereAnotherOutputMaySendThem) {
  EXPECT_THAT(linesOf(&brokenReferencesIn, R"({"sdt_actual": )" + sdt(service(1)) + "}"), IsEmpty());
  EXPECT_THAT(linesOf(&brokenReferencesIn, pmts(pmt(1, 100, ""))), IsEmpty());
  EXPECT_THAT(linesOf(&brokenReferencesIn, pat(R"({"program_number": 1, "pid": 32})") + "}"), IsEmpty());
}

TEST(BrokenReferences, AreEventsOfServicesThatTheSdtDoesNotHave) {
  const std::string events = event(7, "12:00:00", "01:00:00");
  const std::string set = R"({"sdt_actual": )" + sdt(service(1)) + R"(, "eit_pf": [)" + eit(1, events) + "," +
                          eit(2, events) + "," + eit(3, events, R"(, "actual": false)") +
                          R"(], "eit_schedule": [)" + eit(4, events) + "]}";
  EXPECT_THAT(
      linesOf(&brokenReferencesIn, set),
      ElementsAre("warning /eit_pf/1/events: EIT p/f actual 2 of 1/2: service 2 is not in the SDT",
                  "warning /eit_schedule/0/events: EIT schedule actual 50 4 of 1/2: service 4 is not in the "
                  "SDT"));
}

TEST(BrokenReferences, AreStreamsWithTwoNumbers) {
  EXPECT_THAT(
      linesOf(&brokenReferencesIn, pat("") + R"(, "sdt_actual": )" + sdt("", 5) + "}"),
      ElementsAre("warning /sdt_actual/transport_stream_id: SDT actual: transport_stream_id 5 is not the 1 of "
                  "the PAT"));
  EXPECT_THAT(
      linesOf(&brokenReferencesIn, R"({"sdt_actual": )" + sdt(service(1), 5) + R"(, "eit_pf": [)" + eit(1, "") +
                                       "," + eit(1, "", R"(, "actual": false)") + R"(], "eit_schedule": [)" +
                                       eit(1, "") + "]}"),
      ElementsAre("warning /eit_pf/0/transport_stream_id: EIT p/f actual 1 of 1/2: transport_stream_id 1 is "
                  "not the 5 of the SDT actual",
                  "warning /eit_schedule/0/transport_stream_id: EIT schedule actual 50 1 of 1/2: "
                  "transport_stream_id 1 is not the 5 of the SDT actual"));
}

TEST(Overlaps, AreEventsThatBeginBeforeTheOneInFrontHasEnded) {
  const std::string overlap = event(7, "12:00:00", "01:00:00") + "," + event(8, "12:59:59", "01:00:00");
  EXPECT_THAT(linesOf(&overlapsIn, R"({"eit_pf": [)" + eit(3, overlap) + "]}"),
              ElementsAre("warning /eit_pf/0/events: EIT p/f actual 3 of 1/2: event 8 starts at "
                          "2026-11-21T12:59:59Z, before event 7 has ended"));
  EXPECT_THAT(linesOf(&overlapsIn, R"({"eit_schedule": [)" + eit(3, overlap) + "]}"),
              ElementsAre("warning /eit_schedule/0/events: EIT schedule actual 50 3 of 1/2: event 8 starts at "
                          "2026-11-21T12:59:59Z, before event 7 has ended"));
  const std::string within = event(7, "12:00:00", "03:00:00") + "," + event(8, "13:00:00", "00:10:00") + "," +
                             event(9, "14:00:00", "00:10:00");
  EXPECT_THAT(linesOf(&overlapsIn, R"({"eit_schedule": [)" + eit(3, within) + "]}").size(), 2U);
}

TEST(Overlaps, AreNoneOneBehindTheOtherNorInTwoServicesNorWithoutATime) {
  const std::string row = event(7, "12:00:00", "01:00:00") + "," + event(8, "13:00:00", "01:00:00");
  EXPECT_THAT(linesOf(&overlapsIn, R"({"eit_schedule": [)" + eit(3, row) + "," + eit(4, row) + "]}"), IsEmpty());
  EXPECT_THAT(linesOf(&overlapsIn, R"({"eit_pf": [)" +
                                       eit(3, R"({"event_id": 1, "start_time": "undefined", "duration": "01:00:00"},
                                                 {"event_id": 2, "start_time": "undefined", "duration": "01:00:00"})") +
                                       "]}"),
              IsEmpty());
}

TEST(Findings, HaveVersionsThatNoSectionCanCarry) {
  const std::string text = R"({"pat": {"transport_stream_id": 1, "version_number": 32, "programs": []},
      "sdt_others": [)" + sdt("", 9) +
                           R"(, {"transport_stream_id": 8, "original_network_id": 2,
      "version_number": 40, "services": []}], "atsc": {"mgt": {"version_number": 31, "tables": []}}})";
  const auto lines = linesOf(findingsIn(readTableSet(text), TimingProfile::Standards), parseJson(text));
  EXPECT_THAT(lines, Contains("error /pat/version_number: 32 is above 31"));
  EXPECT_THAT(lines, Contains("error /sdt_others/1/version_number: 40 is above 31"));
  EXPECT_THAT(lines, ::testing::Not(Contains(::testing::HasSubstr("/atsc/mgt/version_number"))));
}

TEST(Findings, HaveWhatPlayWarnsOf) {
  const std::string text = R"({"atsc": {"stt": true}})";
  EXPECT_THAT(linesOf(findingsIn(readTableSet(text), TimingProfile::Standards), parseJson(text)),
              ElementsAre("warning ?: ATSC STT: without an MGT or a VCT beside it, it is sent only once in 25 "
                          "minutes"));
}

TEST(Findings, AreNoneInAnEmptySet) { EXPECT_THAT(findingsIn(TableSet(), TimingProfile::Classic), IsEmpty()); }

TEST(Errors, OfEveryTableAreTold) {
  try {
    readTableSet(R"({"pat": {}, "pmts": [{"program_number": 1}, {"program_number": 0}], "periods": {"pat": 1},
                     "nix": 1})");
    FAIL();
  } catch (const InputError& error) {
    EXPECT_THAT(linesOf(error),
                ElementsAre("/nix: unknown field", "/pat/transport_stream_id: missing field",
                            "/pmts/0/pcr_pid: missing field", "/pmts/1/program_number: 0 is below 1",
                            "/periods/pat: 1 ms is below 25 ms"));
    EXPECT_STREQ(error.what(), "/nix: unknown field");
  }
}

TEST(Errors, OfEveryPmtWithoutAPidAreTold) {
  TableSet set = readTableSet(R"({"pmts": [
      {"program_number": 1, "pcr_pid": 8191, "version_number": 1, "streams": []},
      {"program_number": 2, "pcr_pid": 8191, "version_number": 1, "streams": []}]})");
  try {
    settle(set);
    FAIL();
  } catch (const InputError& error) {
    EXPECT_THAT(linesOf(error), ElementsAre("PMT 1: it has no PID, and no PAT names the program",
                                            "PMT 2: it has no PID, and no PAT names the program"));
  }
}

TEST(Errors, OfEveryElementThatIsReadByItselfAreTold) {
  const std::string bat = R"({"bouquet_id": 7, "transport_streams": []})";
  try {
    readTableSet(R"({"bats": [{}, )" + bat + R"(, {"bouquet_id": 65536, "transport_streams": []}, )" + bat +
                 R"(], "sections": [{"pid": 17, "sections": []}, {}]})");
    FAIL();
  } catch (const InputError& error) {
    EXPECT_THAT(linesOf(error),
                ElementsAre("/bats/0/bouquet_id: missing field", "/bats/2/bouquet_id: 65536 is above 0xFFFF",
                            "/bats/3: the same table as in /bats/1", "/sections/0/sections: is empty",
                            "/sections/1/pid: missing field"));
  }
}

TEST(Places, OfWholeSectionsAreFoundByTheHeadOfTheFirst) {
  const auto entry = [](unsigned tableId, unsigned extension) {
    return R"({"pid": 17, "sections": [")" +
           hexDigits(vantor::testing::makeSection(tableId, extension, 1, 0, 0, "")) + "\"]}";
  };
  const Json document =
      parseJson(R"({"sections": [)" + entry(0x4A, 1) + "," + entry(0x41, 2) + "," + entry(0x4A, 2) + "]}");
  const Json ids{{"pid", 17}, {"table_id", 0x4A}, {"table_id_extension", 2}};
  EXPECT_EQ(pointerTo({"/sections", ids, "/period"}, document), "/sections/2");
  EXPECT_EQ(pointerTo({"/sections", ids, "/sections/0"}, document), "/sections/2/sections/0");
}

TEST(Places, AreThereAsFarAsTheDocumentGoes) {
  const Json document = parseJson(R"({"pmts": [{"program_number": 2}, {"program_number": 1, "pid": 3}]})");
  EXPECT_EQ(pointerTo({"/pmts", {{"program_number", 1}}, "/pid"}, document), "/pmts/1/pid");
  EXPECT_EQ(pointerTo({"/pmts", {{"program_number", 2}}, "/streams/0"}, document), "/pmts/0");
  EXPECT_EQ(pointerTo({"/pmts", {{"program_number", 3}}, ""}, document), std::nullopt);
  EXPECT_EQ(pointerTo({"/pat", Json::object(), ""}, document), std::nullopt);
  EXPECT_EQ(pointerTo({}, document), std::nullopt);
}

}  // namespace
}  // namespace vantor::tables::findings_test
