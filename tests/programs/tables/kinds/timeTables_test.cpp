#include "programs/tables/kinds/timeTables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/captures.h"
#include "tests/programs/streams.h"

/// TDT and TOT in JSON and from captures.

namespace vantor::tables {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr UtcTime kNow{};

constexpr const char* kParis = R"({"country_code": "FRA", "country_region_id": 0, "local_time_offset": "+01:00",
  "time_of_change": "2026-03-29T01:00:00Z", "next_time_offset": "+02:00"})";

TableSet read(const std::string& fields) { return readTableSet(R"({"time": {)" + fields + "}}", kNow); }

std::string errorOf(const std::string& fields) {
  try {
    read(fields);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

std::string list(const std::string& entries) { return R"("tdt": true, "local_time_offsets": [)" + entries + "]"; }
std::string entry(const std::string& fields) { return list(R"({"country_code": "FRA", )" + fields + "}"); }

/// The record of an entry with these fields.
thrift::dvb_tables::LocalTimeOffset recordOf(const std::string& fields) {
  return read(entry(fields)).time.value().localTimes.at(0).record;
}

/// A descriptor loop with one descriptor of these bytes.
std::string descriptor(unsigned tag, const std::string& data) {
  return std::string{static_cast<char>(tag), static_cast<char>(data.size())} + data;
}

std::string makeTot(const std::string& loop) {
  std::string section("\x73\x70\x00\xEE\x71\x12\x00\x00", 8);
  section += static_cast<char>(0xF0 | loop.size() >> 8);
  section += static_cast<char>(loop.size());
  section += loop + std::string(4, '\0');
  section[1] = static_cast<char>(0x70 | (section.size() - 3) >> 8);
  section[2] = static_cast<char>(section.size() - 3);
  return withCrc(section);
}

const std::string kParisBytes("FRA\x02\x01\x00\xEE\xC8\x01\x00\x00\x02\x00", 13);
const std::string kStJohnsBytes("CAN\x0B\x03\x30\xEE\xC8\x01\x00\x00\x02\x30", 13);

Capture captureOf(const std::vector<std::string>& sections) {
  Packer time(0x14);
  return readTransportStream(time.apart(sections));
}

TEST(TimeJson, TdtAloneIsRead) {
  EXPECT_THAT(read(R"("tdt": true)").time.value().localTimes, IsEmpty());
  EXPECT_FALSE(read(R"("tdt": false)").time.has_value());
}

TEST(TimeJson, OffsetsAreRead) {
  const auto times = read(list(kParis)).time.value().localTimes;
  ASSERT_THAT(times, SizeIs(1));
  EXPECT_EQ(times[0].timeZone, "");
  const auto& record = times[0].record;
  EXPECT_EQ(record.country_code, "FRA");
  EXPECT_EQ(record.country_region_id, 0);
  EXPECT_EQ(record.local_time_offset_polarity, 0);
  EXPECT_EQ(record.local_time_offset, 0x0100);
  EXPECT_EQ(record.next_time_offset, 0x0200);
  EXPECT_EQ(record.time_of_change, 0xEEC8010000);
}

TEST(TimeJson, WithoutAChangeTheOffsetStays) {
  const auto record = recordOf(R"("local_time_offset": "-03:30")");
  EXPECT_EQ(record.local_time_offset_polarity, 1);
  EXPECT_EQ(record.local_time_offset, 0x0330);
  EXPECT_EQ(record.next_time_offset, 0x0330);
  EXPECT_EQ(record.time_of_change, 0);
}

TEST(TimeJson, OffsetOfZeroGoesWithEitherSign) {
  for (const char* zero : {"+00:00", "-00:00"}) {
    const std::string change = R"(, "time_of_change": "undefined", "next_time_offset": ")";
    EXPECT_EQ(recordOf(R"("local_time_offset": "-01:00")" + change + zero + '"').local_time_offset_polarity, 1);
    EXPECT_EQ(recordOf(R"("local_time_offset": "+01:00")" + change + zero + '"').local_time_offset_polarity, 0);
    const auto fromZero = recordOf(R"("local_time_offset": ")" + std::string(zero) + '"' + change + "-01:00\"");
    EXPECT_EQ(fromZero.local_time_offset_polarity, 1);
    EXPECT_EQ(fromZero.next_time_offset, 0x0100);
  }
}

TEST(TimeJson, WhatIsWrittenReadsTheSame) {
  for (const std::string& fields :
       {std::string(R"("tdt": true)"), list(kParis),
        list(R"({"country_code": "CAN", "country_region_id": 63, "local_time_offset": "-03:30",
                 "time_of_change": "undefined", "next_time_offset": "-0xab99"})"),
        list(R"({"country_code": "FRA", "country_region_id": 0, "local_time_offset": "+01:00",
                 "time_of_change": "2026-03-29T01:00:00Z", "next_time_offset": "+01:00"})"),
        list(R"({"country_code": "0x0000ff", "country_region_id": 1, "local_time_offset": "-00:00"})"),
        list(R"({"country_code": "PRT", "country_region_id": 2, "time_zone": "Atlantic/Azores"})")})
    EXPECT_EQ(Json::parse(writeTableSet(read(fields))), Json::parse(R"({"time": {)" + fields + "}}"));
}

TEST(TimeJson, EachWrongFieldIsNamed) {
  const std::string at = "/time/local_time_offsets/0/";
  EXPECT_EQ(errorOf(R"("local_time_offsets": [])"), "/time/tdt: missing field");
  EXPECT_EQ(errorOf(R"("tdt": false, "local_time_offsets": [1])"), "/time/tdt: a TOT goes with a TDT only");
  const std::string offset = R"("local_time_offset": "+01:00")";
  for (const char* code : {"FR", "FRAN", "F A", "0x4652"})
    EXPECT_EQ(errorOf(list(R"({"country_code": ")" + std::string(code) + R"(", )" + offset + "}")),
              at + "country_code: \"" + code + "\" is not a code of three letters");
  EXPECT_THAT(errorOf(list(R"({"country_code": "0x46524g", )" + offset + "}")), HasSubstr("hex digits"));
  EXPECT_EQ(errorOf(entry(R"("country_region_id": 64, )" + offset)), at + "country_region_id: 64 is above 0x3F");
  for (const char* wrong : {"", "01:00", "+01:60", "+1:00", "+01:00:00", "+0x1ff"})
    EXPECT_EQ(errorOf(entry(R"("local_time_offset": ")" + std::string(wrong) + '"')),
              at + "local_time_offset: \"" + wrong + "\" is not an offset like \"+01:00\"");
  EXPECT_EQ(errorOf(entry(offset + R"(, "time_of_change": "undefined")")), at + "next_time_offset: missing field");
  EXPECT_EQ(errorOf(entry(offset + R"(, "next_time_offset": "+02:00")")), at + "time_of_change: missing field");
  EXPECT_EQ(errorOf(entry(offset + R"(, "time_of_change": "undefined", "next_time_offset": "-02:00")")),
            at + "next_time_offset: the sign is not that of local_time_offset: the table has one for both");
  EXPECT_EQ(errorOf(entry(offset + R"(, "time_zone": "Europe/Paris")")),
            at + "local_time_offset: time_zone tells it already");
  EXPECT_EQ(errorOf(entry(R"("time_zone": "Europe/Atlantis")")),
            at + "time_zone: the tz database of this machine has no time zone Europe/Atlantis");
  EXPECT_EQ(errorOf(entry(R"("time_zone": "")")), at + "time_zone: is empty");
  EXPECT_EQ(errorOf(entry(R"("offset": 1)")), at + "offset: unknown field");
}

TEST(TimeJson, MoreEntriesThanATotHasRoomForAreRefused) {
  std::string entries = kParis;
  for (int i = 1; i < 19; ++i) entries += std::string(", ") + kParis;
  EXPECT_THAT(read(list(entries)).time.value().localTimes, SizeIs(19));
  EXPECT_EQ(errorOf(list(entries + ", " + kParis)),
            "/time/local_time_offsets: 20 are more than the 19 that a TOT has room for");
}

TEST(TimeCapture, OffsetsOfTheLatestTotAreKept) {
  const Capture capture =
      captureOf({makeTot(descriptor(0x58, kParisBytes)), makeTot(descriptor(0x58, kParisBytes + kStJohnsBytes))});
  const auto& times = capture.tables.time.value().localTimes;
  ASSERT_THAT(times, SizeIs(2));
  EXPECT_EQ(times[0].record.country_code, "FRA");
  EXPECT_EQ(times[0].record.time_of_change, 0xEEC8010000);
  EXPECT_EQ(times[1].record.country_region_id, 2);
  EXPECT_EQ(times[1].record.local_time_offset_polarity, 1);
  EXPECT_EQ(times[1].record.local_time_offset, 0x0330);
  EXPECT_EQ(times[1].record.next_time_offset, 0x0230);
  EXPECT_THAT(capture.leftOut, IsEmpty());
  EXPECT_EQ(capture.imports.at({{0x73, 0, 0, 0}, 0}).versions, 1U);
}

TEST(TimeCapture, TdtAlonePutsATdtOnAir) {
  const Capture capture = captureOf({std::string("\x70\x70\x05\xEE\x71\x12\x00\x00", 8)});
  EXPECT_THAT(capture.tables.time.value().localTimes, IsEmpty());
}

TEST(TimeCapture, TdtLeavesTheOffsetsOfTheTot) {
  const Capture capture =
      captureOf({makeTot(descriptor(0x58, kParisBytes)), std::string("\x70\x70\x05\xEE\x71\x12\x00\x00", 8)});
  EXPECT_THAT(capture.tables.time.value().localTimes, SizeIs(1));
}

TEST(TimeCapture, WhatATotOfOursHasNoRoomForIsNamed) {
  std::string many;
  for (int i = 0; i < 15; ++i) many += kParisBytes;
  Capture capture = captureOf({makeTot(descriptor(0x58, many) + descriptor(0x58, many))});
  EXPECT_THAT(capture.tables.time.value().localTimes, SizeIs(19));
  EXPECT_THAT(capture.leftOut, ElementsAre("TOT: 11 of 30 local time offsets left out: a TOT has room for 19"));
  capture = captureOf({makeTot(descriptor(0x58, kParisBytes) + descriptor(0x5F, std::string(26, 'p')))});
  EXPECT_THAT(capture.tables.time.value().localTimes, SizeIs(1));
  EXPECT_THAT(capture.leftOut, ElementsAre("TOT: descriptors other than local time offsets left out"));
  capture = captureOf({makeTot("")});
  EXPECT_THAT(capture.tables.time.value().localTimes, IsEmpty());
  EXPECT_THAT(capture.leftOut, ElementsAre("TOT: left out, as it has no local time offsets"));
}

TEST(TimeCapture, WrongLengthsAreCounted) {
  std::string tot = makeTot(descriptor(0x58, kParisBytes));
  tot[9] = 14;
  std::string half = makeTot(descriptor(0x58, kParisBytes));
  half[11] = 12;
  const std::string longTdt("\x70\x70\x06\xEE\x71\x12\x00\x00\x00", 9);
  const Capture capture = captureOf({withCrc(tot), withCrc(half), longTdt});
  EXPECT_FALSE(capture.tables.time.has_value());
  EXPECT_EQ(capture.faults.at({0x14, SectionFault::content}), 3U);
}

TEST(TimeCapture, TotWithAWrongCrcIsCounted) {
  std::string tot = makeTot(descriptor(0x58, kParisBytes));
  tot[4] = 0;
  const Capture capture = captureOf({tot});
  EXPECT_FALSE(capture.tables.time.has_value());
  EXPECT_EQ(capture.faults.at({0x14, SectionFault::crc}), 1U);
}

}  // namespace
}  // namespace vantor::tables
