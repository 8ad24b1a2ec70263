#include "programs/tables/review/differences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/writeJson.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/streams.h"

namespace vantor::tables::differences_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

/// "PMT 1 /streams/0/elementary_pid 512 513"; "-" for what is not there.
std::vector<std::string> diff(const std::string& before, const std::string& after) {
  std::vector<std::string> lines;
  for (const auto& [table, field, first, second] : differencesOf(readTableSet(before), readTableSet(after)))
    lines.push_back(table + " " + field + " " + (first ? first->dump() : "-") + " " +
                    (second ? second->dump() : "-"));
  return lines;
}

/// Only which tables and fields.
std::vector<std::string> fieldsOf(const std::string& before, const std::string& after) {
  std::vector<std::string> lines;
  for (const Difference& difference : differencesOf(readTableSet(before), readTableSet(after)))
    lines.push_back((difference.before ? difference.after ? "~" : "-" : "+") + difference.table + difference.field);
  return lines;
}

std::string pmts(const std::string& streams, const std::string& more = "") {
  return R"({"pmts": [{"program_number": 1, "pid": 100, "pcr_pid": 8191, "version_number": 1, "streams": [)" +
         streams + "]}" + more + "]}";
}

constexpr const char* kPmt2 =
    R"(, {"program_number": 2, "pid": 101, "pcr_pid": 8191, "version_number": 1, "streams": []})";
constexpr const char* kVideo = R"({"stream_type": 2, "elementary_pid": 512})";
constexpr const char* kAudio = R"({"stream_type": 3, "elementary_pid": 513})";
constexpr const char* kOtherAudio = R"({"stream_type": 3, "elementary_pid": 514})";

const std::string kBoth = std::string(kVideo) + "," + kAudio;

TEST(Differences, AreNoneOfOneAndTheSame) {
  EXPECT_THAT(diff(pmts(kBoth, kPmt2), pmts(kBoth, kPmt2)), IsEmpty());
  EXPECT_THAT(diff("{}", "{}"), IsEmpty());
}

TEST(Differences, AreTablesThatCameAndWent) {
  EXPECT_THAT(fieldsOf(pmts(kBoth), pmts(kBoth, kPmt2)), ElementsAre("+PMT 2"));
  EXPECT_THAT(fieldsOf(pmts(kBoth, kPmt2), pmts(kBoth)), ElementsAre("-PMT 2"));
  const std::string cat = R"({"cat": {"version_number": 1}})";
  EXPECT_THAT(fieldsOf("{}", cat), ElementsAre("+CAT"));
  EXPECT_THAT(fieldsOf(cat, "{}"), ElementsAre("-CAT"));
  EXPECT_THAT(fieldsOf("{}", pmts(kBoth)), ElementsAre("+PMT 1"));
}

TEST(Differences, AreFieldsOfATable) {
  EXPECT_THAT(diff(R"({"cat": {"version_number": 1}})",
                   R"({"cat": {"version_number": 2, "descriptors": [{"tag": 9, "data": "00"}]}})"),
              UnorderedElementsAre("CAT /version_number 1 2", R"(CAT /descriptors - [{"data":"00","tag":9}])"));
}

TEST(Differences, FindElementsByTheirIdentifiers) {
  EXPECT_THAT(diff(pmts(kBoth), pmts(kAudio)),
              ElementsAre(R"(PMT 1 /streams/0 {"elementary_pid":"0x0200","stream_type":2} -)"));
  EXPECT_THAT(diff(pmts(kAudio), pmts(kBoth)),
              ElementsAre(R"(PMT 1 /streams/0 - {"elementary_pid":"0x0200","stream_type":2})"));
}

TEST(Differences, JoinWhatIsLeftAtOnePlace) {
  EXPECT_THAT(diff(pmts(kBoth), pmts(std::string(kVideo) + "," + kOtherAudio)),
              ElementsAre(R"(PMT 1 /streams/1/elementary_pid "0x0201" "0x0202")"));
}

TEST(Differences, AreAnotherOrderToo) {
  EXPECT_THAT(fieldsOf(pmts(kBoth), pmts(std::string(kAudio) + "," + kVideo)), ElementsAre("~PMT 1/streams"));
}

TEST(Differences, FindDescriptorsByTheirNames) {
  const auto cat = [](const std::string& descriptors) {
    return R"({"cat": {"version_number": 1, "descriptors": [)" + descriptors + "]}}";
  };
  const std::string first = R"({"CA": {"CA_system_ID": 1, "CA_PID": 100}})";
  const std::string second = R"({"CA": {"CA_system_ID": 2, "CA_PID": 200}})";
  const std::string name = R"({"network_name": {"name": "A"}})";
  EXPECT_THAT(diff(cat(name + "," + first), cat(first)),
              ElementsAre(R"(CAT /descriptors/0 {"network_name":{"name":"A"}} -)"));
  EXPECT_THAT(diff(cat(first + "," + second), cat(first + R"(, {"CA": {"CA_system_ID": 2, "CA_PID": 201}})")),
              ElementsAre(R"(CAT /descriptors/1/CA/CA_PID "0x00C8" "0x00C9")"));
}

TEST(Differences, NameTablesByWhatTellsThemApart) {
  const std::string rest =
      R"("transport_stream_id": 1, "original_network_id": 2, "version_number": 1, "events": [])";
  const std::string set = R"({"eit_pf": [{"service_id": 3, )" + rest + R"(}, {"service_id": 3, "actual": false, )" +
                          rest + R"(}], "eit_schedule": [{"service_id": 3, )" + rest + R"(}],
      "sdt_others": [{"transport_stream_id": 1, "original_network_id": 2, "version_number": 1, "services": []}],
      "atsc": {"mgt": {"version_number": 1, "tables": []}}, "time": {"tdt": true}})";
  EXPECT_THAT(fieldsOf("{}", set),
              ElementsAre("+SDT other 1/2", "+EIT schedule actual 3 of 1/2", "+EIT p/f actual 3 of 1/2",
                          "+EIT p/f other 3 of 1/2", "+TDT and TOT", "+ATSC MGT"));
}

TEST(Differences, NameNetworksBouquetsAndWholeSections) {
  const std::string rest = R"("version_number": 1, "transport_streams": []})";
  const auto set = [&](const std::string& more, const std::string& sections) {
    return R"({"nit_others": [{"network_id": 7, )" + rest + more + R"(], "bats": [{"bouquet_id": 8, )" + rest +
           R"(], "sections": [)" + sections + "]}";
  };
  const auto sections = [](int pid, unsigned tableId, unsigned extension, unsigned version) {
    return R"({"pid": )" + std::to_string(pid) + R"(, "sections": [")" +
           hexDigits(vantor::testing::makeSection(tableId, extension, version, 0, 0, "")) + "\"]}";
  };
  const std::string before = set("", sections(17, 0x4A, 9, 1) + "," + sections(300, 0x90, 1, 1));
  EXPECT_THAT(fieldsOf("{}", before), UnorderedElementsAre("+NIT other 7", "+BAT 8", "+BAT 9 on PID 0x0011",
                                                           "+table id 0x90 on PID 0x012C"));
  EXPECT_THAT(
      fieldsOf(before, set(R"(, {"network_id": 9, )" + rest, sections(300, 0x90, 1, 2))),
      UnorderedElementsAre("+NIT other 9", "-BAT 9 on PID 0x0011", "~table id 0x90 on PID 0x012C/sections/0"));
}

TEST(Differences, ArePeriodsToo) {
  EXPECT_THAT(diff(R"({"periods": {"pat": 100, "pmt": 100}})", R"({"periods": {"pat": 150}})"),
              ElementsAre("periods /pat 100 150", "periods /pmt 100 -"));
}

}  // namespace
}  // namespace vantor::tables::differences_test
