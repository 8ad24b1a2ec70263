#include "servicemux/time/getDSTParams.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

using vantor::getDSTParams;
using vantor::thrift::dvb_tables::LocalTimeOffset;

struct Moment {
  int year, month, day, hour, minute = 0;
};

std::time_t posix(const Moment& moment) {
  std::tm utc{};
  utc.tm_year = moment.year - 1900;
  utc.tm_mon = moment.month - 1;
  utc.tm_mday = moment.day;
  utc.tm_hour = moment.hour;
  utc.tm_min = moment.minute;
  return timegm(&utc);
}

long long bcd(int value) { return value / 10 << 4 | value % 10; }

/// As EN 300 468 annex C has it.
long long dvbTime(const Moment& moment) {
  const long long day = posix(moment) / 86400 + 40587;
  return day << 24 | bcd(moment.hour) << 16 | bcd(moment.minute) << 8;
}

enum Polarity : std::int16_t { kEast = 0, kWest = 1 };

LocalTimeOffset makeOffset(Polarity polarity, int current, int next, const Moment& change) {
  LocalTimeOffset lto;
  lto.local_time_offset_polarity = polarity;
  lto.local_time_offset = static_cast<std::int16_t>(current);
  lto.next_time_offset = static_cast<std::int16_t>(next);
  lto.time_of_change = dvbTime(change);
  return lto;
}

unsigned short paramsAt(const LocalTimeOffset& lto, const Moment& now) { return getDSTParams(lto, posix(now)); }

}  // namespace

TEST(DaylightSavings, AreNoneWhereNoChangeIsKnown) {
  LocalTimeOffset lto;
  lto.local_time_offset = 0x0200;
  lto.next_time_offset = 0x0100;
  EXPECT_EQ(getDSTParams(lto, 1700000000), 0);
}

TEST(DaylightSavings, ChangeLaterInTheMonthIsAnnouncedInLocalTime) {
  const auto lto = makeOffset(kEast, 0x0100, 0x0200, {2026, 3, 29, 1});
  EXPECT_EQ(paramsAt(lto, {2026, 3, 10, 12}), 0x1D02);
}

TEST(DaylightSavings, ChangeEarlyNextMonthIsAnnounced) {
  const auto lto = makeOffset(kEast, 0x0200, 0x0100, {2026, 11, 5, 1});
  EXPECT_EQ(paramsAt(lto, {2026, 10, 20, 12}), 0x8000 | 5 << 8 | 3);
}

TEST(DaylightSavings, ChangeAMonthAheadOrMoreIsNotAnnounced) {
  const auto onThe25th = makeOffset(kEast, 0x0200, 0x0100, {2026, 10, 25, 1});
  EXPECT_EQ(paramsAt(onThe25th, {2026, 9, 20, 12}), 0x8000);
  EXPECT_EQ(paramsAt(onThe25th, {2026, 9, 25, 23}), 0x8000) << "a month to the day";
  EXPECT_EQ(paramsAt(onThe25th, {2026, 9, 26, 0}), 0x8000 | 25 << 8 | 3);
  EXPECT_EQ(paramsAt(onThe25th, {2026, 8, 26, 0}), 0x8000) << "two months ahead";
}

TEST(DaylightSavings, ChangeInJanuaryIsNotAnnouncedInDecember) {
  const auto lto = makeOffset(kEast, 0x0100, 0x0200, {2027, 1, 5, 1});
  EXPECT_EQ(paramsAt(lto, {2026, 12, 20, 12}), 0);
}

TEST(DaylightSavings, YearOfTheChangeDoesNotCount) {
  const auto lto = makeOffset(kEast, 0x0100, 0x0200, {2027, 3, 29, 1});
  EXPECT_EQ(paramsAt(lto, {2026, 3, 10, 12}), 0x1D02) << "a year too early";
  EXPECT_EQ(paramsAt(lto, {2028, 3, 10, 12}), 0x1D02) << "a year late";
  const auto early = makeOffset(kEast, 0x0100, 0x0200, {2027, 4, 5, 1});
  EXPECT_EQ(paramsAt(early, {2026, 3, 20, 12}), 5 << 8 | 2);
}

TEST(DaylightSavings, ChangeIsAnnouncedUpToItsHour) {
  const auto lto = makeOffset(kEast, 0x0100, 0x0200, {2026, 3, 29, 1, 30});
  EXPECT_EQ(paramsAt(lto, {2026, 3, 29, 0, 59}), 0x1D02);
  EXPECT_EQ(paramsAt(lto, {2026, 3, 29, 1, 0}), 0) << "its hour has begun";
  EXPECT_EQ(paramsAt(lto, {2026, 3, 30, 0}), 0);
  EXPECT_EQ(paramsAt(lto, {2026, 4, 29, 0}), 0) << "the same day of another month";
}

TEST(DaylightSavings, WestOfGreenwichTheHoursAreSubtracted) {
  const auto toSummer = makeOffset(kWest, 0x0500, 0x0400, {2026, 3, 8, 7});
  EXPECT_EQ(paramsAt(toSummer, {2026, 3, 1, 0}), 8 << 8 | 2);
  const auto toWinter = makeOffset(kWest, 0x0400, 0x0500, {2026, 11, 1, 6});
  EXPECT_EQ(paramsAt(toWinter, {2026, 10, 15, 0}), 0x8000 | 1 << 8 | 2);
}

TEST(DaylightSavings, MinutesAreAddedOnBothSidesOfGreenwich) {
  // -03:30 counts as 30 - 180 = -150 minutes, which is more than the -180 of -03:00 and in hours -2.
  EXPECT_EQ(paramsAt(makeOffset(kWest, 0x0330, 0x0300, {2026, 3, 8, 5}), {2026, 3, 1, 0}), 0x8000 | 8 << 8 | 3);
  EXPECT_EQ(paramsAt(makeOffset(kWest, 0x0300, 0x0330, {2026, 3, 8, 5}), {2026, 3, 1, 0}), 8 << 8 | 2);
  EXPECT_EQ(paramsAt(makeOffset(kEast, 0x0530, 0x0630, {2026, 3, 8, 5}), {2026, 3, 1, 0}), 8 << 8 | 10);
  EXPECT_EQ(paramsAt(makeOffset(kEast, 0x0145, 0x0130, {2026, 3, 8, 5}), {2026, 3, 1, 0}), 0x8000 | 8 << 8 | 6);
}

TEST(DaylightSavings, OffsetThatStaysTheSameCountsAsInEffect) {
  EXPECT_EQ(paramsAt(makeOffset(kEast, 0x0100, 0x0100, {2026, 6, 8, 5}), {2026, 3, 1, 0}), 0x8000);
}

TEST(DaylightSavings, HourBelow0WrapsIn8Bits) {
  EXPECT_EQ(paramsAt(makeOffset(kWest, 0x0500, 0x0400, {2026, 3, 8, 1}), {2026, 3, 1, 0}), 8 << 8 | 252);
}

TEST(DaylightSavings, OffsetsOf10HoursAndMoreAreNotTakenForNegativeNumbers) {
  EXPECT_EQ(paramsAt(makeOffset(kEast, 0x1200, 0x1300, {2026, 3, 8, 5}), {2026, 3, 1, 0}), 8 << 8 | 17);
  EXPECT_EQ(paramsAt(makeOffset(kEast, -0x7000, 0x0100, {2026, 3, 8, 5}), {2026, 3, 1, 0}), 0x8000 | 8 << 8 | 95)
      << "0x9000, 90 hours";
}
