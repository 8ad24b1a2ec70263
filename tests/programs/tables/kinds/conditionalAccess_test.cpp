#include "programs/tables/kinds/conditionalAccess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/captures.h"
#include "tests/programs/streams.h"

/// ECMs and EMMs in JSON and from captures.

namespace vantor::tables {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr UtcTime kNow{};

ConditionalAccess read(const std::string& fields) {
  return *readTableSet(R"({"conditional_access": {)" + fields + "}}", kNow).conditionalAccess;
}

std::string errorOf(const std::string& fields) {
  try {
    read(fields);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

constexpr const char* kSimulcrypt =
    R"("scrambler_type": 3, "ecm_pids": [{"usid": 2, "pids": ["0x1FFF"]}, {"usid": 5, "pids": ["0x0100", "0x0101"]}],
       "emm_pids": [{"usid": 5, "pids": ["0x0200"]}])";

std::string simulcrypt(const std::string& fields) { return std::string(kSimulcrypt) + ", " + fields; }

/// A CA section of so many bytes behind its length.
std::string makeEcm(unsigned tableId, std::size_t size, char fill) {
  return std::string{static_cast<char>(tableId), 0x70, static_cast<char>(size)} + std::string(size, fill);
}

TEST(ConditionalAccessJson, SimulcryptIsRead) {
  const ConditionalAccess access = read(simulcrypt(
      R"("ecms": [{"pid": 256, "sections": "807001aa81700100"}, {"pid": 8191, "sections": "8070010b"}],
         "emms": [{"pid": 512, "sections": "827001aa"}])"));
  EXPECT_TRUE(access.config.enabled);
  EXPECT_EQ(access.config.scrambler_type, 3);
  EXPECT_THAT(access.config.ecm_pids.at(5), ElementsAre(256, 257));
  EXPECT_THAT(access.config.ecm_pids.at(2), ElementsAre(8191));
  EXPECT_THAT(access.config.emm_pids.at(5), ElementsAre(512));
  ASSERT_THAT(access.liveEcms, SizeIs(2));
  EXPECT_EQ(access.liveEcms[0].pid, 256);
  EXPECT_EQ(access.liveEcms[0].format, 0);
  EXPECT_EQ(access.liveEcms[0].data, std::string("\x80\x70\x01\xAA\x81\x70\x01\x00", 8));
  ASSERT_THAT(access.liveEmms, SizeIs(1));
  EXPECT_EQ(access.liveEmms[0].data, "\x82\x70\x01\xAA");
}

TEST(ConditionalAccessJson, PacketsBringTheirPeriod) {
  const std::string packet(2 * 188, 'a');
  const ConditionalAccess access =
      read(simulcrypt(R"("ecms": [{"pid": 256, "packets": ")" + packet + R"(", "period": 400}])"));
  ASSERT_THAT(access.liveEcms, SizeIs(1));
  EXPECT_EQ(access.liveEcms[0].format, 1);
  EXPECT_EQ(access.liveEcms[0].data, std::string(188, '\xAA'));
  EXPECT_EQ(access.liveEcms[0].period, 400);
}

TEST(ConditionalAccessJson, FixedPidsAreRead) {
  const ConditionalAccess access =
      read(R"("scrambler_type": 0, "ecm": {"sections": "8070010a"}, "emms": [{"sections": "8270010b"}])");
  EXPECT_EQ(access.config.scrambler_type, 0);
  EXPECT_EQ(access.ecm.value().data, "\x80\x70\x01\x0A");
  ASSERT_THAT(access.emms, SizeIs(1));
  EXPECT_EQ(access.emms[0].data, "\x82\x70\x01\x0B");
}

TEST(ConditionalAccessJson, WhatIsWrittenReadsTheSame) {
  const std::string packet(2 * 188, 'a');
  for (const std::string& fields :
       {simulcrypt(R"("ecms": [{"pid": "0x0101", "sections": "8070010a"}, {"pid": "0x0100", "packets": ")" +
                   packet + R"(", "period": 400}], "emms": [{"pid": "0x0200", "sections": "8270010b"}])"),
        std::string(R"("scrambler_type": 0, "ecm": {"sections": "8070010a"}, "emms": [{"packets": ")") + packet +
            "\"}]",
        std::string(R"("scrambler_type": 3)")}) {
    const std::string written = writeTableSet(readTableSet(R"({"conditional_access": {)" + fields + "}}", kNow));
    EXPECT_EQ(writeTableSet(readTableSet(written, kNow)), written);
    EXPECT_EQ(Json::parse(written), Json::parse(R"({"conditional_access": {)" + fields + "}}"));
  }
}

TEST(ConditionalAccessJson, EachWrongFieldIsNamed) {
  const std::string at = "/conditional_access";
  EXPECT_THAT(errorOf(R"("ecms": [])"), HasSubstr(at));
  EXPECT_THAT(errorOf(R"("scrambler_type": 4)"),
              HasSubstr(at + "/scrambler_type: 4 is neither 0 (fixed PIDs) nor 3 (Simulcrypt)"));
  EXPECT_THAT(errorOf(R"("scrambler_type": 2)"), HasSubstr(at + "/scrambler_type: 2 is neither"));
  EXPECT_THAT(errorOf(R"("scrambler_type": 0, "ecms": [])"), HasSubstr("ecms"));
  EXPECT_THAT(errorOf(R"("scrambler_type": 3, "ecm_pids": [{"usid": 1, "pids": [8192]}])"),
              HasSubstr(at + "/ecm_pids/0/pids/0: 8192"));
  EXPECT_THAT(errorOf(R"("scrambler_type": 3, "emm_pids": [{"usid": 1, "pids": []}, {"usid": 1, "pids": []}])"),
              HasSubstr(at + "/emm_pids/1/usid: 1 stands there twice"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 300, "sections": "80700100"}])")),
              HasSubstr(at + "/ecms/0/pid: 300 is in none of the PID lists"));
  EXPECT_THAT(errorOf(simulcrypt(R"("emms": [{"pid": 256, "sections": "80700100"}])")),
              HasSubstr(at + "/emms/0/pid: 256 is in none of the PID lists"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 256}])")), HasSubstr(at + "/ecms/0: either"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 256, "sections": "", "packets": ""}])")),
              HasSubstr(at + "/ecms/0: either"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 256, "sections": ""}])")),
              HasSubstr(at + "/ecms/0/sections: there are no bytes"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 256, "sections": "80700200"}])")),
              HasSubstr(at + "/ecms/0/sections: 4 bytes are no whole sections"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 256, "packets": "4700"}])")),
              HasSubstr(at + "/ecms/0/packets: 2 bytes are no whole packets of 188"));
  EXPECT_THAT(errorOf(simulcrypt(R"("ecms": [{"pid": 256, "sections": "80700100", "period": 100}])")),
              HasSubstr(at + "/ecms/0/period: "));
  EXPECT_THAT(errorOf(R"("scrambler_type": 0, "emms": [{"sections": "8070"}])"),
              HasSubstr(at + "/emms/0/sections: 2 bytes are no whole sections"));
}

TEST(ConditionalAccessJson, WhatTheLibraryWouldTruncateIsRefused) {
  const std::string at = "/conditional_access";
  const std::string lists = R"("emm_pids": [{"usid": 9, "pids": [1]}, {"usid": 4, "pids": [2, )";
  EXPECT_EQ(errorOf(R"("scrambler_type": 3, )" + lists + "9000]}]"),
            at + "/emm_pids/1/pids/1: 9000 is above 0x1FFF");
  EXPECT_EQ(errorOf(R"("scrambler_type": 3, )" + lists + "-1]}]"), at + "/emm_pids/1/pids/1: -1 is negative");
  EXPECT_EQ(errorOf(R"("scrambler_type": -1)"),
            at + "/scrambler_type: -1 is neither 0 (fixed PIDs) nor 3 (Simulcrypt)");
  EXPECT_EQ(errorOf(simulcrypt(R"("ecms": [{"pid": 65792, "sections": "80700100"}])")),
            at + "/ecms/0/pid: 65792 is above 0x1FFF");
  EXPECT_EQ(errorOf(simulcrypt(R"("emms": [{"pid": -1, "sections": "80700100"}])")),
            at + "/emms/0/pid: -1 is negative");
  const std::string packet(2 * 188, 'a');
  const auto withPeriod = [&](const std::string& period) {
    return simulcrypt(R"("ecms": [{"pid": 256, "packets": ")" + packet + R"(", "period": )" + period + "}]");
  };
  EXPECT_EQ(errorOf(withPeriod("-5")), at + "/ecms/0/period: -5 is negative");
  EXPECT_EQ(errorOf(withPeriod("32768")), at + "/ecms/0/period: 32768 is above 0x7FFF");
  EXPECT_EQ(errorOf(withPeriod("0")), at + "/ecms/0/period: 0 is no period");
  EXPECT_EQ(errorOf(withPeriod("32767")), "accepted");
}

TEST(ConditionalAccessCapture, LatestEcmOfEachPidThatAPmtNamesIsTaken) {
  thrift::dvb_tables::PAT pat;
  pat.transport_stream_id = 1;
  pat.programs.emplace_back();
  pat.programs[0].program_number = 5;
  pat.programs[0].pid = 0x100;
  thrift::dvb_tables::PMT pmt;
  pmt.program_number = 5;
  pmt.pcr_pid = 0x1FFF;
  for (const char pid : {'\x51', '\x50'}) {
    thrift::dvb_tables::Descriptor ca;
    ca.tag = 9;
    ca.data = std::string("\x0B\x00\xE1", 3) + pid;
    pmt.descriptors.push_back(ca);
  }
  Packer pats(0), pmts(0x100), even(0x150), odd(0x151), stranger(0x152);
  const Capture capture =
      readTransportStream(pats.apart(sectionsOf(pat)) + pmts.apart(sectionsOf(pmt)) +
                          even.apart({makeEcm(0x80, 20, 'a')}) + odd.apart({makeEcm(0x80, 30, 'b')}) +
                          even.apart({makeEcm(0x81, 25, 'c')}) + stranger.apart({makeEcm(0x80, 20, 'd')}));
  ASSERT_TRUE(capture.tables.conditionalAccess.has_value());
  const ConditionalAccess& access = *capture.tables.conditionalAccess;
  EXPECT_TRUE(access.config.enabled);
  EXPECT_EQ(access.config.scrambler_type, 3);
  ASSERT_THAT(access.config.ecm_pids, SizeIs(1));
  EXPECT_THAT(access.config.ecm_pids.begin()->second, ElementsAre(0x150, 0x151));
  ASSERT_THAT(access.liveEcms, SizeIs(2));
  EXPECT_EQ(access.liveEcms[0].pid, 0x150);
  EXPECT_EQ(access.liveEcms[0].data, makeEcm(0x81, 25, 'c'));
  EXPECT_EQ(access.liveEcms[1].data, makeEcm(0x80, 30, 'b'));
}

TEST(ConditionalAccessCapture, SectionsWithoutAPidAreLeft) {
  EXPECT_FALSE(readSections(makeEcm(0x80, 20, 'a')).tables.conditionalAccess.has_value());
}

}  // namespace
}  // namespace vantor::tables
