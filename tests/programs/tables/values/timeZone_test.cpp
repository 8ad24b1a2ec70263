#include "programs/tables/values/timeZone.h"

#include <gtest/gtest.h>

#include <ctime>

#include "programs/tables/json/InputError.h"
#include "programs/tables/values/LocalTime.h"

/// Offsets of time zones and the records they make, at times of the test's choice.

namespace vantor::tables::timeZone_test {
namespace {

/// "2026-03-29 01:00:00", UTC.
UtcTime utc(const char* text) {
  std::tm parts{};
  EXPECT_NE(strptime(text, "%Y-%m-%d %H:%M:%S", &parts), nullptr) << text;
  return std::chrono::system_clock::from_time_t(timegm(&parts));
}

ZoneOffsets offsetsOf(const char* zone, const char* time) { return zoneOffsets(zone, utc(time)).value(); }

thrift::dvb_tables::LocalTimeOffset recordOf(const char* zone, const char* time) {
  LocalTime local;
  local.record.country_code = "XYZ";
  local.record.country_region_id = 5;
  local.timeZone = zone;
  return recordAt(local, utc(time));
}

TEST(TimeZone, WinterAnnouncesTheBeginOfSummerTime) {
  const ZoneOffsets offsets = offsetsOf("Europe/Paris", "2026-01-15 12:00:00");
  EXPECT_EQ(offsets.current, 60);
  EXPECT_EQ(offsets.change, utc("2026-03-29 01:00:00"));
  EXPECT_EQ(offsets.next, 120);
}

TEST(TimeZone, ChangesAtTheVerySecond) {
  EXPECT_EQ(offsetsOf("Europe/Paris", "2026-03-29 00:59:59").current, 60);
  const ZoneOffsets offsets = offsetsOf("Europe/Paris", "2026-03-29 01:00:00");
  EXPECT_EQ(offsets.current, 120);
  EXPECT_EQ(offsets.change, utc("2026-10-25 01:00:00"));
  EXPECT_EQ(offsets.next, 60);
}

TEST(TimeZone, WestOfGreenwichIsNegative) {
  const ZoneOffsets offsets = offsetsOf("America/St_Johns", "2026-07-01 00:00:00");
  EXPECT_EQ(offsets.current, -150);
  EXPECT_EQ(offsets.change, utc("2026-11-01 04:30:00"));
  EXPECT_EQ(offsets.next, -210);
}

TEST(TimeZone, ZoneWithoutSummerTimeHasNoChange) {
  const ZoneOffsets offsets = offsetsOf("Asia/Kolkata", "2026-07-01 00:00:00");
  EXPECT_EQ(offsets.current, 330);
  EXPECT_FALSE(offsets.change.has_value());
  EXPECT_EQ(offsets.next, 330);
}

TEST(TimeZone, TransitionThatLeavesTheClockIsPassedOver) {
  // On 1968-10-27 Britain named its summer time standard time; the clocks moved in 1971.
  EXPECT_EQ(offsetsOf("Europe/London", "1968-07-01 00:00:00").change, utc("1971-10-31 02:00:00"));
}

TEST(TimeZone, RulesGoOnBeyondTheListedTransitions) {
  EXPECT_EQ(offsetsOf("Europe/Paris", "2050-01-15 12:00:00").change, utc("2050-03-27 01:00:00"));
}

TEST(TimeZone, UnknownNameHasNone) {
  EXPECT_FALSE(zoneOffsets("Europe/Atlantis", utc("2026-01-01 00:00:00")).has_value());
  EXPECT_FALSE(zoneOffsets("", utc("2026-01-01 00:00:00")).has_value());
}

TEST(TimeZone, PathOfAFileIsNoName) {
  for (const char* name : {"/usr/share/zoneinfo/Europe/Paris", "file:Europe/Paris", "Europe/../Europe/Paris"})
    EXPECT_FALSE(zoneOffsets(name, utc("2026-01-01 00:00:00")).has_value()) << name;
}

TEST(LocalTimeRecord, OfATimeZoneHasItsOffsetsAndTheRegion) {
  const auto record = recordOf("Europe/Paris", "2026-01-15 12:00:00");
  EXPECT_EQ(record.country_code, "XYZ");
  EXPECT_EQ(record.country_region_id, 5);
  EXPECT_EQ(record.local_time_offset_polarity, 0);
  EXPECT_EQ(record.local_time_offset, 0x0100);
  EXPECT_EQ(record.time_of_change, 0xEEC8010000);
  EXPECT_EQ(record.next_time_offset, 0x0200);
}

TEST(LocalTimeRecord, WestOfGreenwichHasThePolarity) {
  const auto record = recordOf("America/St_Johns", "2026-07-01 00:00:00");
  EXPECT_EQ(record.local_time_offset_polarity, 1);
  EXPECT_EQ(record.local_time_offset, 0x0230);
  EXPECT_EQ(record.next_time_offset, 0x0330);
}

TEST(LocalTimeRecord, OffsetOfZeroTakesThePolarityOfTheOther) {
  const auto record = recordOf("Atlantic/Azores", "2026-07-01 00:00:00");
  EXPECT_EQ(record.local_time_offset, 0);
  EXPECT_EQ(record.local_time_offset_polarity, 1);
  EXPECT_EQ(record.next_time_offset, 0x0100);
}

TEST(LocalTimeRecord, WithoutAChangeItSaysNone) {
  const auto record = recordOf("Asia/Tokyo", "2026-07-01 00:00:00");
  EXPECT_EQ(record.time_of_change, 0);
  EXPECT_EQ(record.next_time_offset, record.local_time_offset);
}

TEST(LocalTimeRecord, ChangeToTheOtherSideOfGreenwichIsNotAnnounced) {
  // Samoa left out a day: from UTC-10 to UTC+14.
  const auto record = recordOf("Pacific/Apia", "2011-12-01 00:00:00");
  EXPECT_EQ(record.local_time_offset_polarity, 1);
  EXPECT_EQ(record.local_time_offset, 0x1000);
  EXPECT_EQ(record.next_time_offset, 0x1000);
  EXPECT_EQ(record.time_of_change, 0);
}

TEST(LocalTimeRecord, WithoutATimeZoneIsWhatWasGiven) {
  LocalTime local;
  local.record.local_time_offset = 0x0145;
  local.record.time_of_change = 7;
  EXPECT_EQ(recordAt(local, utc("2026-07-01 00:00:00")), local.record);
}

TEST(LocalTimeRecord, UnknownTimeZoneIsNamed) {
  try {
    recordOf("Europe/Atlantis", "2026-01-01 00:00:00");
    FAIL();
  } catch (const InputError& error) {
    EXPECT_STREQ(error.what(), "the tz database of this machine has no time zone Europe/Atlantis");
  }
}

}  // namespace
}  // namespace vantor::tables::timeZone_test
