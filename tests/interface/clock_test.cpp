#include <gtest/gtest.h>

#include <ctime>

#include "interface/host.h"

namespace {

constexpr long long kSecondsPerDay = 86400;

unsigned long long bcd(int value) { return static_cast<unsigned long long>(value / 10 * 16 + value % 10); }

/// The calendar formula of EN 300 468 annex C, which holds from 1900-03-01 to 2100-02-28.
unsigned long long mjdOf(const std::tm& date) {
  const int january = date.tm_mon < 2 ? 1 : 0;
  return static_cast<unsigned long long>(14956 + date.tm_mday +
                                         static_cast<int>((date.tm_year - january) * 365.25) +
                                         static_cast<int>((date.tm_mon + 2 + january * 12) * 30.6001));
}

unsigned long long codeOf(const std::tm& date) {
  return mjdOf(date) << 24 | bcd(date.tm_hour) << 16 | bcd(date.tm_min) << 8 | bcd(date.tm_sec);
}

}  // namespace

TEST(DvbTime, EveryDayFrom1900IsThatOfTheCalendar) {
  constexpr unsigned long long kFirst = 15079;  // 1900-03-01
  for (unsigned long long mjd = kFirst; mjd <= 0xFFFF; ++mjd) {
    const std::time_t timestamp = convertDVBTimeToTimestamp(mjd << 24 | 0x235958);
    std::tm date{};
    gmtime_r(&timestamp, &date);
    ASSERT_EQ(codeOf(date), mjd << 24 | 0x235958) << mjd;
  }
}

TEST(DvbTime, DaysFollowOneAnotherFrom1858) {
  EXPECT_EQ(convertDVBTimeToTimestamp(0), -40587 * kSecondsPerDay);  // 1858-11-17
  for (unsigned long long mjd = 1; mjd <= 0xFFFF; ++mjd)
    ASSERT_EQ(convertDVBTimeToTimestamp(mjd << 24) - convertDVBTimeToTimestamp((mjd - 1) << 24), kSecondsPerDay);
}

TEST(DvbTime, EverySecondOfADayIsThatOfTheClock) {
  for (int second = 0; second < kSecondsPerDay; ++second) {
    const unsigned long long code = bcd(second / 3600) << 16 | bcd(second / 60 % 60) << 8 | bcd(second % 60);
    ASSERT_EQ(convertDVBTimeToTimestamp(40587ULL << 24 | code), second);
  }
}

TEST(DvbTime, TheStandardsExample) {
  EXPECT_EQ(convertDVBTimeToTimestamp(0xC079124500), 750516300);  // 1993-10-13 12:45:00
}

TEST(DvbTime, OnlyTheLow40BitsCount) {
  EXPECT_EQ(convertDVBTimeToTimestamp(0xABCDEFC079124500), convertDVBTimeToTimestamp(0xC079124500));
}

TEST(SystemClock, GivesTheCurrentTimeAsTheStandardsCode) {
  EXPECT_EQ(IsSystemTimeSet(), 0);
  const std::time_t before = std::time(nullptr);
  const auto code = static_cast<unsigned long long>(GetUTCTime());
  const std::time_t after = std::time(nullptr);
  const std::time_t read = convertDVBTimeToTimestamp(code);
  EXPECT_GE(read, before);
  EXPECT_LE(read, after);
  std::tm date{};
  gmtime_r(&read, &date);
  EXPECT_EQ(code, codeOf(date));
}

TEST(Bcd, TwoDigitsAreTens) {
  for (int value = 0; value < 100; ++value) EXPECT_EQ(bcd4_2_bin(static_cast<unsigned char>(bcd(value))), value);
}

TEST(DefaultHost, AcceptsTasksForAWatchdogThatIsNotThere) {
  const unsigned int handle = watchdog_register_task();
  EXPECT_NE(handle, 0U);
  thread_alive(handle);
  EXPECT_EQ(watchdog_unregister_task(handle), 0);
}

TEST(DefaultHost, HasNoSlots) { EXPECT_EQ(get_cached_module_slot(), 0); }
