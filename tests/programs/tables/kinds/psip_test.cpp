#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/masterGuide.h"
#include "programs/tables/kinds/mgt.h"
#include "programs/tables/kinds/stt.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/captures.h"
#include "tests/programs/streams.h"

/// MGT, VCT and STT in JSON and from captures.

namespace vantor::tables {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using thrift::dvb_tables::MGT;
using thrift::dvb_tables::VCT;

constexpr UtcTime kNow{};
constexpr unsigned kPsip = 0x1FFB;

constexpr const char* kMgt = R"({"version_number": 3, "tables": [
  {"table_type": 0, "table_type_pid": "0x1FFB", "table_type_version_number": 4, "number_bytes": 1000},
  {"table_type": 256, "table_type_pid": "0x1D00", "table_type_version_number": 31, "number_bytes": 4294967295,
   "descriptors": [{"tag": 200, "data": "01"}]}],
  "descriptors": [{"tag": 201, "data": "0203"}]})";

constexpr const char* kChannel = R"({"short_name": "K-TÉST", "major_channel_number": 7,
  "minor_channel_number": 1023, "modulation_mode": 4, "carrier_frequency": 4294967295, "channel_TSID": 2049,
  "program_number": 3, "ETM_location": 2, "access_controlled": true, "hidden": true, "hide_guide": true,
  "service_type": 2, "source_id": 40000, "descriptors": [{"tag": 200, "data": "a0"}]})";

std::string vct(const std::string& channels) {
  return R"({"transport_stream_id": 2049, "version_number": 4, "channels": [)" + channels + "]}";
}

TableSet read(const std::string& fields) { return readTableSet(R"({"atsc": {)" + fields + "}}", kNow); }

std::string errorOf(const std::string& fields) {
  try {
    TableSet set = read(fields);
    settleMasterGuide(set);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

/// `json` with one text in place of another.
std::string changed(std::string json, const std::string& from, const std::string& to) {
  const std::size_t at = json.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return json.replace(at, from.size(), to);
}

Capture captureOf(const std::vector<std::string>& sections) {
  Packer psip(kPsip);
  return readTransportStream(psip.apart(sections));
}

TEST(PsipJson, MgtIsRead) {
  const MGT mgt = read(std::string(R"("mgt": )") + kMgt).mgt.value();
  EXPECT_EQ(mgt.version_number, 3);
  EXPECT_TRUE(mgt.current_next_indicator);
  EXPECT_EQ(mgt.protocol_version, 0);
  EXPECT_THAT(mgt.descriptors, SizeIs(1));
  ASSERT_THAT(mgt.tables, SizeIs(2));
  EXPECT_EQ(mgt.tables[0].table_type, 0);
  EXPECT_EQ(mgt.tables[0].table_type_pid, 8187);
  EXPECT_EQ(mgt.tables[0].table_type_version_number, 4);
  EXPECT_EQ(mgt.tables[1].number_bytes, 4294967295);
  ASSERT_THAT(mgt.tables[1].descriptors, SizeIs(1));
  EXPECT_EQ(mgt.tables[1].descriptors[0].tag, 200);
}

TEST(PsipJson, VctsAreRead) {
  const TableSet set =
      read(R"("tvct": )" + vct(kChannel) + R"(, "cvct": )" +
           vct(changed(kChannel, R"("hidden")", R"("path_select": true, "out_of_band": true, "hidden")")));
  const VCT terrestrial = set.terrestrialVct.value();
  EXPECT_EQ(terrestrial.table_id, 0xC8);
  EXPECT_EQ(terrestrial.transport_stream_id, 2049);
  EXPECT_EQ(terrestrial.version_number, 4);
  ASSERT_THAT(terrestrial.channels, SizeIs(1));
  const auto& channel = terrestrial.channels[0];
  EXPECT_EQ(channel.short_name, "K-TÉST");
  EXPECT_EQ(channel.major_channel_number, 7);
  EXPECT_EQ(channel.minor_channel_number, 1023);
  EXPECT_EQ(channel.modulation_mode, 4);
  EXPECT_EQ(channel.carrier_frequency, 4294967295);
  EXPECT_EQ(channel.channel_TSID, 2049);
  EXPECT_EQ(channel.program_number, 3);
  EXPECT_EQ(channel.ETM_location, 2);
  EXPECT_TRUE(channel.access_controlled);
  EXPECT_TRUE(channel.hidden);
  EXPECT_TRUE(channel.hide_guide);
  EXPECT_EQ(channel.service_type, 2);
  EXPECT_EQ(channel.source_id, 40000);
  EXPECT_THAT(channel.descriptors, SizeIs(1));
  const VCT cable = set.cableVct.value();
  EXPECT_EQ(cable.table_id, 0xC9);
  EXPECT_TRUE(cable.channels.at(0).path_select);
  EXPECT_TRUE(cable.channels.at(0).out_of_band);
}

TEST(PsipJson, SttIsOnOrOff) {
  EXPECT_EQ(read(R"("stt": true)").stt.value(), LocalTime());
  EXPECT_FALSE(read(R"("stt": false)").stt.has_value());
  const LocalTime local = read(R"("stt": {"local_time_offset": "-05:00", "time_of_change": "2026-11-01T06:00:00Z",
                                          "next_time_offset": "-06:00"})")
                              .stt.value();
  EXPECT_EQ(local.record.local_time_offset_polarity, 1);
  EXPECT_EQ(local.record.local_time_offset, 0x0500);
  EXPECT_EQ(local.record.next_time_offset, 0x0600);
  EXPECT_EQ(read(R"("stt": {"time_zone": "America/New_York"})").stt.value().timeZone, "America/New_York");
}

TEST(PsipJson, SttAloneOnItsPidIsWarnedOf) {
  EXPECT_THAT(sttKind().warnings(read(R"("stt": true)")),
              ElementsAre("ATSC STT: without an MGT or a VCT beside it, it is sent only once in 25 minutes"));
  EXPECT_THAT(sttKind().warnings(read(R"("stt": true, "tvct": )" + vct(kChannel))), IsEmpty());
}

TEST(PsipJson, WhatIsWrittenReadsTheSame) {
  for (const std::string& fields :
       {std::string(R"("mgt": )") + kMgt,
        std::string(R"("mgt": )") +
            changed(kMgt, R"("tables")", R"("protocol_version": 1, "current_next_indicator": false, "tables")"),
        R"("tvct": )" + vct(std::string(kChannel) + ", " + changed(kChannel, "K-TÉST", "")),
        R"("cvct": )" +
            vct(changed(kChannel, R"("hidden")", R"("path_select": true, "out_of_band": true, "hidden")")),
        R"("tvct": )" + vct(changed(kChannel, R"("hidden": true, )", "")),
        R"("tvct": )" + vct(changed(kChannel, R"("hide_guide": true,)", "")),
        R"("tvct": )" + vct(changed(kChannel, R"("access_controlled": true, )", "")), std::string(R"("stt": true)"),
        std::string(R"("stt": {"time_zone": "America/New_York"})"),
        std::string(R"("stt": {"local_time_offset": "-05:00"})"),
        std::string(
            R"("mgt": {"version_number": 1, "tables": [{"table_type": 0, "table_type_pid": "0x1FFB"}]})")}) {
    const Json document = Json::parse(R"({"atsc": {)" + fields + "}}");
    EXPECT_EQ(Json::parse(writeTableSet(read(fields))), document);
  }
}

TEST(PsipJson, EachWrongFieldIsNamed) {
  EXPECT_EQ(errorOf(R"("rrt": {})"), "/atsc/rrt: unknown field");
  EXPECT_EQ(errorOf(R"("mgt": {"version_number": 1})"), "/atsc/mgt/tables: missing field");
  const std::string mgt = std::string(R"("mgt": )") + kMgt;
  EXPECT_EQ(errorOf(changed(mgt, "8187", "8192")), "/atsc/mgt/tables/0/table_type_pid: 8192 is above 0x1FFF");
  EXPECT_EQ(errorOf(changed(mgt, "4,", "32,")), "/atsc/mgt/tables/0/table_type_version_number: 32 is above 0x1F");
  EXPECT_EQ(errorOf(changed(mgt, "4,", "-1,")), "/atsc/mgt/tables/0/table_type_version_number: -1 is below 0");
  EXPECT_EQ(errorOf(changed(mgt, "1000", "4294967296")),
            "/atsc/mgt/tables/0/number_bytes: 4294967296 is above 0xFFFFFFFF");
  EXPECT_EQ(errorOf(changed(mgt, "1000", "-1")), "/atsc/mgt/tables/0/number_bytes: -1 is below 0");
  const std::string tvct = R"("tvct": )" + vct(kChannel);
  const std::string at = "/atsc/tvct/channels/0/";
  EXPECT_EQ(errorOf(changed(tvct, ": 7,", ": 1024,")), at + "major_channel_number: 1024 is above 0x3FF");
  EXPECT_EQ(errorOf(changed(tvct, R"("service_type": 2)", R"("service_type": 64)")),
            at + "service_type: 64 is above 0x3F");
  EXPECT_EQ(errorOf(changed(tvct, R"("hidden")", R"("path_select")")), at + "path_select: unknown field");
  EXPECT_EQ(errorOf(changed(tvct, "K-TÉST", "A\\u0000")), at + "short_name: U+0000 only fills a name up");
  EXPECT_EQ(errorOf(changed(tvct, "K-TÉST", "A NAME TOO LONG")),
            at + R"(short_name: "A NAME TOO LONG" has 15 UTF-16 code units, more than 7)");
  EXPECT_EQ(errorOf(R"("stt": 1)"), "/atsc/stt: 1 is not true or false");
  EXPECT_EQ(errorOf(R"("stt": {})"), "/atsc/stt/local_time_offset: missing field");
  EXPECT_EQ(errorOf(R"("stt": {"country_code": "USA", "local_time_offset": "-05:00"})"),
            "/atsc/stt/country_code: unknown field");
}

TEST(PsipCapture, TablesComeBackAsTheyWereSent) {
  TableSet sent =
      read(std::string(R"("mgt": )") + kMgt + R"(, "tvct": )" + vct(kChannel) + R"(, "cvct": )" +
           vct(changed(kChannel, R"("hidden")", R"("path_select": true, "out_of_band": true, "hidden")")));
  sent.terrestrialVct->descriptors = sent.mgt->descriptors;
  std::vector<std::string> sections = sectionsOf(*sent.mgt);
  for (const VCT& record : {*sent.terrestrialVct, *sent.cableVct})
    for (const std::string& section : sectionsOf(record)) sections.push_back(section);
  const Capture capture = captureOf(sections);
  EXPECT_EQ(capture.tables.mgt, sent.mgt);
  EXPECT_EQ(capture.tables.terrestrialVct, sent.terrestrialVct);
  EXPECT_EQ(capture.tables.cableVct, sent.cableVct);
  EXPECT_THAT(capture.leftOut, IsEmpty());
}

TEST(PsipCapture, TableOfManySectionsComesBackWhole) {
  TableSet sent = read(R"("tvct": )" + vct(kChannel));
  for (int i = 0; i < 60; ++i) {
    sent.terrestrialVct->channels.push_back(sent.terrestrialVct->channels[0]);
    sent.terrestrialVct->channels.back().source_id = i;
  }
  sent.terrestrialVct->descriptors.resize(3);
  for (auto& descriptor : sent.terrestrialVct->descriptors) {
    descriptor.tag = 200;
    descriptor.data = std::string(250, 'd');
  }
  const auto sections = sectionsOf(*sent.terrestrialVct);
  ASSERT_GT(sections.size(), 2U);
  EXPECT_EQ(captureOf(sections).tables.terrestrialVct, sent.terrestrialVct);
  EXPECT_FALSE(captureOf({sections[0], sections[1]}).tables.terrestrialVct.has_value());
}

TEST(PsipCapture, NextVersionIsKeptUntilThereIsACurrentOne) {
  TableSet sent = read(std::string(R"("mgt": )") + kMgt);
  const MGT current = *sent.mgt;
  sent.mgt->current_next_indicator = false;
  sent.mgt->version_number = 4;
  EXPECT_EQ(captureOf(sectionsOf(*sent.mgt)).tables.mgt, sent.mgt);
  Packer psip(kPsip);
  EXPECT_EQ(readTransportStream(psip.apart(sectionsOf(current)) + psip.apart(sectionsOf(*sent.mgt))).tables.mgt,
            current);
}

/// The payload of a terrestrial VCT with one channel of this name.
std::string vctPayload(const std::string& name) {
  return std::string("\0\1", 2) + name +
         std::string("\xF0\x10\x01\x04\0\0\0\0\x08\x01\0\x03\x0D\xC2\0\x01\xFC\0\xFC\0", 20);
}

TEST(PsipCapture, NamesAreTurnedIntoUtf8) {
  const auto nameOf = [](const std::string& units) {
    const Capture capture = captureOf({makeSection(0xC8, 1, 0, 0, 0, vctPayload(units))});
    return capture.tables.terrestrialVct ? capture.tables.terrestrialVct->channels.at(0).short_name : "no table";
  };
  EXPECT_EQ(nameOf(std::string("\0K\0-\0T\0V\0\0\0\0\0\0", 14)), "K-TV");
  EXPECT_EQ(nameOf(std::string("\0A\0 \0B\0C\0D\0E\0F", 14)), "A BCDEF");
  EXPECT_EQ(nameOf(std::string("\x20\xAC\xD8\x3D\xDE\x00\0\0\0\0\0\0\0\0", 14)), "€😀");
  EXPECT_EQ(nameOf(std::string("\0A\0\0\0B\0\0\0\0\0\0\0\0", 14)), std::string("A\0B", 3));
  EXPECT_EQ(nameOf(std::string(14, '\0')), "");
  EXPECT_EQ(nameOf(std::string("\xD8\x3D\0A\0\0\0\0\0\0\0\0\0\0", 14)), "no table");
}

TEST(PsipCapture, ReservedBitsOfATerrestrialVctAreNoFlags) {
  const auto channel = captureOf({makeSection(0xC8, 1, 0, 0, 0, vctPayload(std::string(14, '\0')))})
                           .tables.terrestrialVct->channels.at(0);
  EXPECT_FALSE(channel.path_select);
  EXPECT_FALSE(channel.out_of_band);
}

TEST(PsipCapture, WrongLengthsAreCounted) {
  const std::string name(14, '\0');
  const std::string mgt("\0\0\0\xF0\0", 5);
  EXPECT_TRUE(captureOf({makeSection(0xC7, 0, 0, 0, 0, mgt)}).tables.mgt.has_value());
  std::string channels = vctPayload(name);
  channels[1] = 2;
  const Capture capture = captureOf({
      makeSection(0xC7, 0, 0, 0, 0, mgt + "x"),
      makeSection(0xC7, 0, 0, 0, 0, std::string("\0\0\1\xF0\0", 5)),
      makeSection(0xC7, 0, 0, 0, 0, std::string("\0\0\0\xF0\1\1", 6)),
      makeSection(0xC8, 0, 0, 0, 0, channels),
      makeSection(0xC8, 0, 0, 0, 0, vctPayload(name) + "x"),
      makeSection(0xC8, 0, 0, 0, 0, ""),
      makeSection(0xCD, 0, 0, 0, 0, std::string(7, '\0')),
      makeSection(0xCD, 0, 0, 0, 0, std::string(8, '\0') + "x"),
  });
  EXPECT_FALSE(capture.tables.mgt.has_value());
  EXPECT_FALSE(capture.tables.terrestrialVct.has_value());
  EXPECT_FALSE(capture.tables.stt.has_value());
  EXPECT_EQ(capture.faults.at({kPsip, SectionFault::content}), 8U);
}

TEST(PsipCapture, SttIsTurnedOnAndWhatItAnnouncedIsNamed) {
  const std::string head("\0\x52\x00\x00\x00\x12", 6);
  Capture capture = captureOf({makeSection(0xCD, 0, 0, 0, 0, head + std::string(2, '\0'))});
  EXPECT_EQ(capture.tables.stt, LocalTime());
  EXPECT_THAT(capture.leftOut, IsEmpty());
  // Each is another one under the same version.
  capture = captureOf({makeSection(0xCD, 0, 0, 0, 0, head + std::string(2, '\0')),
                       makeSection(0xCD, 0, 0, 0, 0, head + "\x9D\x02" + std::string("\xC8\1a", 3))});
  EXPECT_EQ(capture.tables.stt, LocalTime());
  EXPECT_THAT(capture.leftOut, ElementsAre("ATSC STT: daylight_savings 0x9d02 left out: a time_zone of /atsc/stt "
                                           "gives it again; descriptors left out"));
  EXPECT_EQ(capture.imports.at({{0xCD, 0, 0, 0}, 0}).rewrites, 0U);
}

TEST(PsipCapture, TablesOnAnotherPidAreLeft) {
  const TableSet sent = read(std::string(R"("mgt": )") + kMgt);
  Packer other(0x10);
  EXPECT_FALSE(readTransportStream(other.apart(sectionsOf(*sent.mgt))).tables.mgt.has_value());
}

TEST(MasterGuide, TakesVersionAndSizeOfTheTablesInTheSet) {
  TableSet set = read(
      R"("tvct": )" + vct(kChannel) + R"(, "cvct": )" +
      changed(vct(std::string(kChannel) + ", " + kChannel), R"("version_number": 4)", R"("version_number": 33)") +
      R"(, "mgt": {"version_number": 1, "tables": [{"table_type": 0, "table_type_pid": 8187},
                          {"table_type": 2, "table_type_pid": 8187}]})");
  settleMasterGuide(set);
  EXPECT_EQ(set.mgt->tables[0].table_type_version_number, 4);
  EXPECT_EQ(set.mgt->tables[0].number_bytes, 16 + 32 + 3);
  EXPECT_EQ(set.mgt->tables[1].table_type_version_number, 0);
  EXPECT_EQ(set.mgt->tables[1].number_bytes, 16 + 2 * (32 + 3));
  EXPECT_THAT(masterGuideWarnings(set), IsEmpty());
}

TEST(MasterGuide, CountsEverySection) {
  TableSet set = read(R"("tvct": )" + vct(kChannel) +
                      R"(, "mgt": {"version_number": 1, "tables": [{"table_type": 0, "table_type_pid": 8187}]})");
  set.terrestrialVct->channels.resize(60, set.terrestrialVct->channels[0]);
  settleMasterGuide(set);
  std::size_t bytes = 0;
  for (const std::string& section : sectionsOf(*set.terrestrialVct)) bytes += section.size();
  EXPECT_EQ(set.mgt->tables[0].number_bytes, static_cast<std::int64_t>(bytes));
}

TEST(MasterGuide, KeepsWhatWasGivenAndWarnsWhereItIsWrong) {
  TableSet set = read(R"("tvct": )" + vct(kChannel) + R"(, "mgt": {"version_number": 1, "tables": [
      {"table_type": 0, "table_type_pid": 8187, "number_bytes": 40}]})");
  settleMasterGuide(set);
  EXPECT_EQ(set.mgt->tables[0].number_bytes, 40);
  EXPECT_EQ(set.mgt->tables[0].table_type_version_number, 4);
  EXPECT_THAT(mgtKind().warnings(set),
              ElementsAre("ATSC MGT: number_bytes of table_type 0x0000 is 40, but the table of this set has 51"));
  set.mgt->tables[0].table_type_version_number = 5;
  EXPECT_THAT(mgtKind().warnings(set), SizeIs(2));
}

TEST(MasterGuide, TellsCurrentAndNextTablesApart) {
  TableSet set =
      read(R"("tvct": )" +
           changed(vct(kChannel), R"("version_number")", R"("current_next_indicator": false, "version_number")") +
           R"(, "mgt": {"version_number": 1, "tables": [{"table_type": 1, "table_type_pid": 8187}]})");
  settleMasterGuide(set);
  EXPECT_EQ(set.mgt->tables[0].table_type_version_number, 4);
  set.mgt->tables[0].table_type = 0;
  set.mgt->tables[0].number_bytes = kOfTheSet;
  EXPECT_THROW(settleMasterGuide(set), InputError);
}

TEST(MasterGuide, NamesTheTableThatTheSetLacks) {
  EXPECT_EQ(errorOf(R"("mgt": {"version_number": 1, "tables": [
                {"table_type": 0, "table_type_pid": 8187, "table_type_version_number": 1, "number_bytes": 5},
                {"table_type": 256, "table_type_pid": 7424, "table_type_version_number": 1}]})"),
            "/atsc/mgt/tables/1: table_type_version_number and number_bytes are needed, the set has no table of "
            "table_type 0x0100");
}

}  // namespace
}  // namespace vantor::tables
