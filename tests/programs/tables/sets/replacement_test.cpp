#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "programs/tables/json/writeJson.h"
#include "programs/tables/sets/OnAir.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"
#include "servicemux/front/serviceMux.h"
#include "tests/interface/RecordedLog.h"
#include "tests/programs/streams.h"

/// One table set in the place of another one, on a multiplex that is on air.

namespace vantor::tables::replacement_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

const UtcTime kNow = std::chrono::system_clock::from_time_t(1768478400);  // 2026-01-15 12:00

class Nowhere : public DatagramSink {
 public:
  ssize_t send(const void* /*datagram*/, std::size_t size) override { return static_cast<ssize_t>(size); }
};

class Replacement : public ::testing::Test {
 protected:
  static TableSet read(const std::string& text) {
    TableSet set = readTableSet(text, kNow);
    settle(set);
    return set;
  }

  /// Puts it on air and returns the doors of the library that it went through.
  std::vector<std::string> put(const std::string& text) {
    log.take();
    if (onAir)
      last = onAir->replace(read(text), kNow);
    else
      onAir.emplace(read(text), mux, kNow);
    return doors();
  }

  std::vector<std::string> doors() {
    std::vector<std::string> names;
    for (const auto& message : log.take()) {
      const std::string& text = message.text;
      if (text.rfind("[new", 0) == 0 || text.rfind("[clear", 0) == 0 || text.rfind("[set", 0) == 0)
        names.push_back(text.substr(1, text.find(']') - 1));
    }
    return names;
  }

  std::vector<std::string> onAirNow() const {
    std::vector<std::string> names;
    for (const auto& table : mux.tablesOnAir())
      names.push_back(table.name + (table.version < 0 ? "" : " v" + std::to_string(table.version)));
    return names;
  }

  static std::string cat(const std::string& data, const std::string& version) {
    return R"("cat": {)" + (version.empty() ? "" : "\"version_number\": " + version + ", ") +
           R"("descriptors": [{"tag": 9, "data": ")" + data + R"("}]})";
  }

  RecordedLog log;
  serviceMux mux{"replacement", std::make_shared<Nowhere>(), ""};
  std::optional<OnAir> onAir;
  OnAir::Replacement last;
};

constexpr const char* kPat = R"("pat": {"transport_stream_id": 1, "version_number": 3, "programs": [
    {"program_number": 5, "pid": 256}, {"program_number": 6, "pid": 257}]})";

std::string pmt(int program, int pcrPid, const std::string& more = "") {
  return R"({"program_number": )" + std::to_string(program) + R"(, "pcr_pid": )" + std::to_string(pcrPid) + more +
         R"(, "streams": []})";
}

std::string eit(int service, int stream, const std::string& events, bool isActual = true) {
  return R"({"service_id": )" + std::to_string(service) + R"(, "transport_stream_id": )" + std::to_string(stream) +
         (isActual ? "" : R"(, "actual": false)") + R"(, "original_network_id": 2, "events": [)" + events + "]}";
}

std::string event(int id, const std::string& start = "2026-01-15T12:00:00Z") {
  return R"({"event_id": )" + std::to_string(id) + R"(, "start_time": ")" + start + R"(", "duration": "01:00:00"})";
}

TEST_F(Replacement, OfTheSameTouchesNothing) {
  const std::string all = std::string("{") + kPat + ", " + cat("00", "") + R"(, "pmts": [)" + pmt(5, 512) +
                          R"(], "eit_pf": [)" + eit(5, 1, event(1)) + R"(], "time": {"tdt": true}, "atsc": {"mgt":
      {"tables": [{"table_type": 0, "table_type_pid": 8187}]}, "tvct": {"transport_stream_id": 1, "channels": []}, "stt": true},
      "conditional_access": {"scrambler_type": 3, "ecm_pids": [{"usid": 1, "pids": [100]}],
                             "ecms": [{"pid": 100, "sections": "80700101"}]}})";
  EXPECT_THAT(put(all), Not(IsEmpty()));
  const auto before = onAirNow();
  EXPECT_THAT(put(all), IsEmpty());
  EXPECT_EQ(onAirNow(), before);
  EXPECT_EQ(last.added + last.changed + last.removed, 0U);
}

TEST_F(Replacement, HandsInOnlyWhatDiffersAndTakesOffWhatIsGone) {
  put(std::string("{") + kPat + ", " + cat("00", "7") + R"(, "pmts": [)" + pmt(5, 512) + ", " + pmt(6, 513) + "]}");
  EXPECT_THAT(put(std::string("{") + kPat + R"(, "pmts": [)" + pmt(5, 512) + ", " + pmt(6, 514) + "]}"),
              ElementsAre("newPMT"));
  EXPECT_THAT(onAirNow(), ElementsAre("PAT v3", "PMT 5 v0", "PMT 6 v1"));
  EXPECT_EQ(last.changed, 1U);
  EXPECT_EQ(last.removed, 1U);
  EXPECT_EQ(last.added, 0U);
}

TEST_F(Replacement, EveryKindComesAndGoesByItself) {
  const std::string parts[] = {
      kPat,
      cat("00", "1"),
      R"("nit": {"network_id": 1, "version_number": 2, "transport_streams": []})",
      R"("pmts": [{"program_number": 5, "pid": 300, "pcr_pid": 512, "version_number": 2, "streams": []}])",
      R"("sdt_actual": {"transport_stream_id": 1, "original_network_id": 2, "version_number": 3, "services": []})",
      R"("sdt_others": [{"transport_stream_id": 2, "original_network_id": 2, "version_number": 3, "services": []}])",
      R"("eit_pf": [)" + eit(5, 1, event(1)) + "]",
      R"("eit_schedule": [)" + eit(5, 1, event(1)) + "]",
      R"("time": {"tdt": true})",
      R"("conditional_access": {"scrambler_type": 0, "ecm": {"sections": "80700101"}})",
  };
  for (const std::string& own : parts) {
    std::string others;
    // The PMT stands where no PAT has it.
    for (const std::string& part : parts)
      if (part != own && part != kPat) others += (others.empty() ? "" : ", ") + part;
    if (own == kPat) continue;
    put("{" + others + "}");
    const auto without = onAirNow();
    put("{" + others + ", " + own + "}");
    EXPECT_GE(last.added, 1U) << own;
    EXPECT_EQ(last.changed + last.removed, 0U) << own;
    const std::size_t added = last.added;
    put("{" + others + "}");
    EXPECT_EQ(last.removed, added) << own;
    EXPECT_EQ(last.changed + last.added, 0U) << own;
    EXPECT_EQ(onAirNow(), without) << own;
  }
}

TEST_F(Replacement, PatIsTakenOffAlone) {
  put(std::string("{") + kPat + ", " + cat("00", "1") + "}");
  put("{" + cat("00", "1") + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v1"));
  EXPECT_EQ(last.removed, 1U);
}

TEST_F(Replacement, OneEitIsTakenOffAndNoOtherOfItsService) {
  mux.setTimingProfile(TimingProfile::Standards);
  const std::string schedule = R"(, "eit_schedule": [)" + eit(5, 1, event(1)) + "]}";
  put(R"({"eit_pf": [)" + eit(5, 1, event(1)) + ", " + eit(5, 9, event(1)) + ", " + eit(5, 1, event(1), false) +
      "]" + schedule);
  EXPECT_THAT(put(R"({"eit_pf": [)" + eit(5, 9, event(1)) + ", " + eit(5, 1, event(1), false) + "]" + schedule),
              ElementsAre("clearEIT"));
  EXPECT_THAT(onAirNow(),
              UnorderedElementsAre("EIT schedule actual 50 5 v0", "EIT p/f actual 5 v0", "EIT p/f other 5 v0"));
}

TEST_F(Replacement, ScheduleThatGetsShorterLosesItsLastTable) {
  const auto schedule = [](const std::string& more) {
    return R"({"eit_schedule": [)" + eit(5, 1, event(1) + more) + "]}";
  };
  put(schedule(", " + event(2, "2026-01-20T12:00:00Z")));
  EXPECT_THAT(onAirNow(), ElementsAre("EIT schedule actual 50 5 v0", "EIT schedule actual 51 5 v0"));
  // The first table tells which one is the last.
  EXPECT_THAT(put(schedule("")), ElementsAre("clearEIT", "newEITsch"));
  EXPECT_THAT(onAirNow(), ElementsAre("EIT schedule actual 50 5 v1"));
}

/// Of a network or bouquet, with one descriptor.
std::string network(const char* field, int id, const std::string& data) {
  return std::string(R"({")") + field + R"(": )" + std::to_string(id) +
         R"(, "descriptors": [{"tag": 128, "data": ")" + data + R"("}], "transport_streams": []})";
}

/// A BAT's section, which has its version in it.
std::string sections(int period, unsigned version) {
  return R"("sections": [{"pid": 17, "name": "Mine", "period": )" + std::to_string(period) + R"(, "sections": [")" +
         hexDigits(vantor::testing::makeSection(0x4A, 9, version, 0, 0, "x")) + R"("]}])";
}

TEST_F(Replacement, NetworksBouquetsAndWholeSectionsComeAndGoByThemselves) {
  mux.setTimingProfile(TimingProfile::Standards);
  const std::string nits = R"("nit_others": [)" + network("network_id", 7, "00") + "]";
  const std::string bat = network("bouquet_id", 7, "00");
  const auto bats = [&](const std::string& data) {
    return R"("bats": [)" + bat + ", " + network("bouquet_id", 8, data) + "]";
  };
  const std::string all = "{" + nits + ", " + bats("00") + ", " + sections(1000, 3) + "}";
  put(all);
  EXPECT_THAT(onAirNow(), ElementsAre("NIT other 7 v0", "BAT 7 v0", "BAT 8 v0", "Mine v3"));
  EXPECT_THAT(put(all), IsEmpty());
  EXPECT_THAT(put("{" + nits + ", " + bats("01") + ", " + sections(1000, 3) + "}"), ElementsAre("newSections"));
  EXPECT_THAT(onAirNow(), ElementsAre("NIT other 7 v0", "BAT 7 v0", "BAT 8 v1", "Mine v3"));
  EXPECT_THAT(put("{" + bats("01") + ", " + sections(1000, 3) + "}"), ElementsAre("clearSections"));
  EXPECT_THAT(onAirNow(), ElementsAre("BAT 7 v0", "BAT 8 v1", "Mine v3"));
  EXPECT_THAT(put(R"({"bats": [)" + bat + "], " + sections(1000, 3) + "}"), ElementsAre("clearSections"));
  EXPECT_THAT(onAirNow(), ElementsAre("BAT 7 v0", "Mine v3"));
  EXPECT_THAT(put(R"({"bats": [)" + bat + "]}"), ElementsAre("clearSections"));
  EXPECT_THAT(onAirNow(), ElementsAre("BAT 7 v0"));
}

TEST_F(Replacement, WhatTheClassicTimingRefusesComesOnAirOnceItsPidIsFree) {
  const std::string sdt = R"("sdt_actual": {"transport_stream_id": 1, "original_network_id": 1, "services": []})";
  const std::string bat = R"("bats": [)" + network("bouquet_id", 7, "00") + "]";
  put("{" + sdt + ", " + bat + ", " + sections(1000, 3) + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("SDT actual v0"));
  put("{" + cat("00", "") + ", " + sdt + ", " + bat + ", " + sections(1000, 3) + "}");
  EXPECT_EQ(last.refused, "");
  EXPECT_EQ(last.added, 1U);
  put("{" + bat + ", " + sections(1000, 3) + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("BAT 7 v0", "Mine v3"));
  EXPECT_EQ(last.added, 2U);
  EXPECT_THAT(put("{" + bat + ", " + sections(1000, 3) + "}"), IsEmpty());
}

TEST_F(Replacement, WholeSectionsHaveTheirVersionsInThem) {
  put("{" + sections(1000, 3) + "}");
  EXPECT_THAT(put("{" + sections(1000, 4) + "}"), ElementsAre("newSections"));
  EXPECT_THAT(onAirNow(), ElementsAre("Mine v4"));
  EXPECT_THAT(put("{" + sections(2000, 4) + "}"), ElementsAre("newSections"));
  EXPECT_EQ(mux.tablesOnAir().at(0).period, 2000U);
  EXPECT_THAT(last.warnings, IsEmpty());
}

TEST_F(Replacement, OneSdtOtherIsTakenOffAndNotTheOneOfTheSameNumbersTheOtherWayRound) {
  const auto sdt = [](int stream, int network) {
    return R"({"transport_stream_id": )" + std::to_string(stream) + R"(, "original_network_id": )" +
           std::to_string(network) + R"(, "services": []})";
  };
  put(R"({"sdt_others": [)" + sdt(2, 9) + ", " + sdt(9, 2) + "]}");
  put(R"({"sdt_others": [)" + sdt(9, 2) + "]}");
  EXPECT_THAT(onAirNow(), ElementsAre("SDT other 9/2 v0"));
}

TEST_F(Replacement, OneVctIsTakenOffAndNotTheOther) {
  const std::string vct = R"({"transport_stream_id": 1, "channels": []})";
  put(R"({"atsc": {"tvct": )" + vct + R"(, "cvct": )" + vct + "}}");
  put(R"({"atsc": {"cvct": )" + vct + "}}");
  EXPECT_THAT(onAirNow(), ElementsAre("ATSC VCT cable v0"));
  put(R"({"atsc": {"tvct": )" + vct + R"(, "cvct": )" + vct + "}}");
  put(R"({"atsc": {"tvct": )" + vct + "}}");
  EXPECT_THAT(onAirNow(), ElementsAre("ATSC VCT terrestrial v0"));
}

TEST_F(Replacement, PmtThatMovesLeavesItsOldPid) {
  const auto at = [](int pid) {
    return R"({"pmts": [)" + pmt(5, 512, R"(, "pid": )" + std::to_string(pid)) + "]}";
  };
  put(at(300));
  EXPECT_THAT(put(at(301)), ElementsAre("clearPMT", "newPMT"));
  ASSERT_EQ(mux.tablesOnAir().size(), 1U);
  EXPECT_EQ(mux.tablesOnAir()[0].pid, 301);
  EXPECT_EQ(mux.tablesOnAir()[0].version, 0);
  EXPECT_EQ(last.changed, 1U);
  EXPECT_EQ(last.removed, 0U);
}

TEST_F(Replacement, CountsAVersionThatIsLeftOutOrAuto) {
  for (const std::string version : {"", "\"auto\""}) {
    onAir.reset();
    mux.clearAllTables();
    put("{" + cat("00", version) + "}");
    for (int change = 0; change < 70; ++change) {
      EXPECT_THAT(onAirNow(), ElementsAre("CAT v" + std::to_string(change % 32)));
      put("{" + cat(change % 2 == 0 ? "01" : "00", version) + "}");
      EXPECT_THAT(last.warnings, IsEmpty());
    }
  }
}

TEST_F(Replacement, CountsOnWhenATableComesBack) {
  put("{" + cat("00", "") + "}");
  put("{" + cat("01", "") + "}");
  put("{}");
  EXPECT_THAT(onAirNow(), IsEmpty());
  put("{" + cat("01", "") + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v1"));
  put("{}");
  put("{" + cat("02", "") + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v2"));
}

TEST_F(Replacement, CountsOnFromAVersionThatWasGiven) {
  put("{" + cat("00", "31") + "}");
  put("{" + cat("00", "") + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v31"));
  put("{" + cat("01", "") + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v0"));
  put("{" + cat("01", "9") + "}");
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v9"));
}

TEST_F(Replacement, WarnsOfAChangeThatNoVersionTells) {
  put("{" + cat("00", "4") + "}");
  EXPECT_THAT(put("{" + cat("01", "4") + "}"), ElementsAre("newCAT"));
  EXPECT_THAT(last.warnings,
              ElementsAre("CAT: changed under the same version_number 4, which receivers may not notice"));
  put("{" + cat("02", "5") + "}");
  EXPECT_THAT(last.warnings, IsEmpty());
  put(R"({"eit_pf": [{"service_id": 5, "transport_stream_id": 1, "original_network_id": 2, "version_number": 300,
                      "events": []}]})");
  put(R"({"eit_pf": [{"service_id": 5, "transport_stream_id": 1, "original_network_id": 2, "version_number": 300,
                      "events": [)" +
      event(1) + "]}]}");
  EXPECT_THAT(last.warnings, ElementsAre("EIT p/f actual 5: changed under the same version_number 300, which "
                                         "receivers may not notice"));
}

TEST_F(Replacement, MgtFollowsTheVctThatItTellsOf) {
  const auto vct = [](const std::string& name) {
    return R"({"atsc": {"mgt": {"tables": [{"table_type": 0, "table_type_pid": 8187}]}, "tvct":
        {"transport_stream_id": 1, "channels": [{"short_name": ")" +
           name +
           R"(", "major_channel_number": 1, "minor_channel_number": 1, "modulation_mode": 4, "channel_TSID": 1,
            "program_number": 1, "service_type": 2, "source_id": 1}]}}})";
  };
  put(vct("One"));
  EXPECT_THAT(onAirNow(), ElementsAre("ATSC MGT v0", "ATSC VCT terrestrial v0"));
  EXPECT_THAT(put(vct("Two")), UnorderedElementsAre("newMGT", "newVCT"));
  EXPECT_THAT(onAirNow(), ElementsAre("ATSC MGT v1", "ATSC VCT terrestrial v1"));
}

std::string access(const std::string& fields) {
  return R"({"conditional_access": {"scrambler_type": 3, "ecm_pids": [{"usid": 1, "pids": [100, 101]}],
      "emm_pids": [{"usid": 1, "pids": [200]}], )" +
         fields + "}}";
}

TEST_F(Replacement, OneEcmIsReplacedAndNotTheOther) {
  const std::string other = R"(, {"pid": 101, "sections": "80700102"}])";
  put(access(R"("ecms": [{"pid": 100, "sections": "80700101"})" + other));
  EXPECT_THAT(put(access(R"("ecms": [{"pid": 100, "sections": "81700103"})" + other)), ElementsAre("setLiveECM"));
}

TEST_F(Replacement, OfSeveralEcmsOfOnePidTheLastStays) {
  const auto ecms = [](const std::string& first, const std::string& last) {
    return access(R"("ecms": [{"pid": 100, "sections": ")" + first + R"("}, {"pid": 100, "sections": ")" + last +
                  R"("}])");
  };
  put(ecms("80700101", "80700102"));
  EXPECT_THAT(put(ecms("80700101", "80700102")), IsEmpty());
  EXPECT_THAT(put(ecms("80700101", "80700103")), ElementsAre("setLiveECM"));
  EXPECT_THAT(put(ecms("80700104", "80700103")), ElementsAre("setLiveECM", "setLiveECM"));
}

TEST_F(Replacement, OnlyANewEmmIsSent) {
  put(access(R"("emms": [{"pid": 200, "sections": "82700101"}])"));
  EXPECT_THAT(
      put(access(R"("emms": [{"pid": 200, "sections": "82700102"}, {"pid": 200, "sections": "82700101"}])")),
      ElementsAre("setLiveEMM"));
  EXPECT_THAT(put(access(R"("emms": [{"pid": 200, "sections": "82700102"}])")), IsEmpty());
}

TEST_F(Replacement, ConditionalAccessThatIsGoneTakesEveryMessageWithIt) {
  put(access(R"("ecms": [{"pid": 100, "sections": "80700101"}])"));
  EXPECT_THAT(put("{" + cat("00", "1") + "}"),
              UnorderedElementsAre("newCAT", "clearECM", "clearEMM", "clearLiveECMs", "clearLiveEMMs"));
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v1"));
}

TEST_F(Replacement, EcmThatIsGoneIsSentNoMoreAndTheOthersAre) {
  put(access(R"("ecms": [{"pid": 100, "sections": "80700101"}, {"pid": 101, "sections": "80700102"}])"));
  EXPECT_THAT(onAirNow(), ElementsAre("ECM", "ECM"));
  const auto taken = put(access(R"("ecms": [{"pid": 101, "sections": "80700102"}])"));
  ASSERT_THAT(taken, Not(IsEmpty()));
  EXPECT_EQ(taken.front(), "setDRMConfig");
  EXPECT_EQ(std::count(taken.begin(), taken.end(), "setLiveECM"), 1);
  ASSERT_EQ(mux.tablesOnAir().size(), 1U);
  EXPECT_EQ(mux.tablesOnAir()[0].pid, 101);
}

TEST_F(Replacement, OffsetsThatAreGoneAreNotRefreshed) {
  const UtcTime summer = std::chrono::system_clock::from_time_t(1774746000);  // 2026-03-29 01:00
  put(R"({"time": {"tdt": true, "local_time_offsets": [{"country_code": "FRA", "time_zone": "Europe/Paris"}]}})");
  put("{" + cat("00", "1") + "}");
  onAir->refresh(summer);
  EXPECT_THAT(onAirNow(), ElementsAre("CAT v1"));
}

}  // namespace
}  // namespace vantor::tables::replacement_test
