#include "programs/tables/values/eventTime.h"

#include <cstdio>
#include <string_view>

#include "interface/psi/mjd.h"
#include "programs/tables/values/TextReader.h"

namespace vantor::tables {

namespace {

constexpr std::int64_t kDay = 86400;  // seconds
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kMinute = 60;
constexpr std::int32_t kLastDay = 0xFFFF;  // MJD
constexpr std::int64_t kUndefinedStart = 0xFFFFFFFFFF;
constexpr std::int32_t kUndefinedDuration = 0xFFFFFF;
constexpr const char* kUndefined = "undefined";

[[noreturn]] void refuse(const JsonValue& value, const std::string& expected) {
  value.fail(value.shown() + " is not " + expected);
}

struct Date {
  int year;
  unsigned month;
  unsigned day;
};

/// The Gregorian calendar in cycles of 400 years that begin with a March, so that leap days come last.
constexpr std::int32_t kCycleDays = 146097;
constexpr std::int32_t kMarchOfYear0 = -678881;  // MJD

std::int32_t mjdOf(const Date& date) {
  const int year = date.month <= 2 ? date.year - 1 : date.year;
  const auto month = static_cast<int>((date.month + 9) % 12);  // since March
  const int days = (153 * month + 2) / 5 + static_cast<int>(date.day) - 1;
  return kMarchOfYear0 + year * 365 + year / 4 - year / 100 + year / 400 + days;
}

Date dateOf(std::int32_t mjd) {
  const std::int32_t days = mjd - kMarchOfYear0;
  const std::int32_t cycle = days / kCycleDays;
  const std::int32_t inCycle = days % kCycleDays;
  const std::int32_t yearOfCycle = (inCycle - inCycle / 1460 + inCycle / 36524 - inCycle / 146096) / 365;
  const std::int32_t inYear = inCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
  const std::int32_t month = (5 * inYear + 2) / 153;  // since March
  const auto day = static_cast<unsigned>(inYear - (153 * month + 2) / 5 + 1);
  const std::int32_t year = cycle * 400 + yearOfCycle + (month >= 10 ? 1 : 0);
  return {year, static_cast<unsigned>(month < 10 ? month + 3 : month - 9), day};
}

std::int32_t toBcd(std::int64_t value) { return static_cast<std::int32_t>(value / 10 * 16 + value % 10); }

/// Seconds of "hhmmss" in BCD; none when it is no time.
std::optional<std::int64_t> secondsOf(std::int64_t bcd, std::int64_t hourLimit) {
  std::int64_t parts[3];
  for (int i = 0; i < 3; ++i) {
    const std::int64_t tens = bcd >> (20 - 8 * i) & 0x0F;
    const std::int64_t ones = bcd >> (16 - 8 * i) & 0x0F;
    if (tens > 9 || ones > 9) return std::nullopt;
    parts[i] = tens * 10 + ones;
  }
  if (parts[0] >= hourLimit || parts[1] >= 60 || parts[2] >= 60) return std::nullopt;
  return parts[0] * kHour + parts[1] * kMinute + parts[2];
}

constexpr std::int64_t kStartHours = 24;
constexpr std::int64_t kDurationHours = 100;

std::int32_t bcdOf(std::int64_t seconds) {
  return toBcd(seconds / kHour) << 16 | toBcd(seconds / kMinute % 60) << 8 | toBcd(seconds % 60);
}

/// From seconds since MJD 0; none when the day has no 16 bits.
std::optional<std::int64_t> startTimeAt(std::int64_t seconds) {
  if (seconds < 0 || seconds / kDay > kLastDay) return std::nullopt;
  return seconds / kDay << 24 | bcdOf(seconds % kDay);
}

/// Whole minutes, as seconds since MJD 0.
std::int64_t minuteOf(UtcTime now) {
  const auto minutes = std::chrono::floor<std::chrono::minutes>(now.time_since_epoch()).count();
  return kMjdOfPosixEpoch * kDay + static_cast<std::int64_t>(minutes) * kMinute;
}

/// "hh:mm:ss" as seconds.
std::int64_t readClock(TextReader& text, std::int64_t lastHour) {
  const std::int64_t hour = text.number(2, 2, lastHour);
  text.expect(":");
  const std::int64_t minute = text.number(2, 2, 59);
  text.expect(":");
  return hour * kHour + minute * kMinute + text.number(2, 2, 59);
}

/// "yyyy-mm-dd" as MJD; none for a day that no calendar or no wire has.
std::optional<std::int32_t> readDate(TextReader& text) {
  Date date{};
  date.year = static_cast<int>(text.number(4, 4, 9999));
  text.expect("-");
  date.month = static_cast<unsigned>(text.number(2, 2, 12));
  text.expect("-");
  date.day = static_cast<unsigned>(text.number(2, 2, 31));
  if (date.month < 1 || date.day < 1) return std::nullopt;
  const std::int32_t mjd = mjdOf(date);
  if (mjd < 0 || mjd > kLastDay || dateOf(mjd).day != date.day) return std::nullopt;
  return mjd;
}

std::optional<std::int64_t> readAbsolute(std::string_view text) {
  TextReader reader(text);
  const auto day = readDate(reader);
  reader.expect("T");
  const std::int64_t seconds = readClock(reader, kStartHours - 1);
  reader.expect("Z");
  if (!day || !reader.isRead()) return std::nullopt;
  return startTimeAt(*day * kDay + seconds);
}

std::optional<std::int64_t> readRelative(std::string_view text, UtcTime now) {
  TextReader reader(text);
  std::int64_t base = minuteOf(now);
  if (reader.accept("today"))
    base -= base % kDay;
  else
    reader.expect("now");
  if (reader.isRead()) return startTimeAt(base);
  const bool isBefore = reader.accept("-");
  if (!isBefore) reader.expect("+");
  const std::int64_t hours = reader.number(2, 4, 9999);
  reader.expect(":");
  const std::int64_t offset = hours * kHour + reader.number(2, 2, 59) * kMinute;
  if (!reader.isRead()) return std::nullopt;
  return startTimeAt(isBefore ? base - offset : base + offset);
}

std::string hexText(std::int64_t value, int digits) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%0*llx", digits, static_cast<long long>(value));
  return text;
}

std::string clockText(std::int64_t seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", static_cast<int>(seconds / kHour),
                static_cast<int>(seconds / kMinute % 60), static_cast<int>(seconds % 60));
  return text;
}

constexpr std::size_t kStartTimeDigits = 10;
constexpr std::size_t kDurationDigits = 6;

}  // namespace

std::int64_t readStartTime(const JsonValue& value, UtcTime now) {
  const std::string& text = value.string();
  if (text == kUndefined) return kUndefinedStart;
  for (const auto& read : {readAbsolute(text), readRelative(text, now), readHex(text, kStartTimeDigits)})
    if (read) return *read;
  refuse(value, R"(a time like "2026-11-21T12:00:00Z", "now+00:30" or "today+26:00")");
}

std::string startTimeText(std::int64_t startTime) {
  if (startTime == kUndefinedStart) return kUndefined;
  const auto seconds = secondsOf(startTime & 0xFFFFFF, kStartHours);
  if (!seconds) return hexText(startTime, kStartTimeDigits);
  return dayText(dayOf(startTime)) + "T" + clockText(*seconds) + "Z";
}

std::optional<std::int64_t> startTimeOf(UtcTime time) {
  return startTimeAt(kMjdOfPosixEpoch * kDay +
                     std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count());
}

std::int32_t readDuration(const JsonValue& value) {
  const std::string& text = value.string();
  if (text == kUndefined) return kUndefinedDuration;
  TextReader reader(text);
  const std::int64_t seconds = readClock(reader, kDurationHours - 1);
  if (reader.isRead()) return bcdOf(seconds);
  if (const auto raw = readHex(text, kDurationDigits)) return static_cast<std::int32_t>(*raw);
  refuse(value, R"(a duration like "01:30:00")");
}

std::string durationText(std::int32_t duration) {
  if (duration == kUndefinedDuration) return kUndefined;
  const auto seconds = secondsOf(duration, kDurationHours);
  return seconds ? clockText(*seconds) : hexText(duration, kDurationDigits);
}

std::optional<std::int64_t> endOf(std::int64_t startTime, std::int32_t duration) {
  const auto start = secondsOf(startTime & 0xFFFFFF, kStartHours);
  const auto length = secondsOf(duration, kDurationHours);
  if (!start || !length) return std::nullopt;
  return startTimeAt(dayOf(startTime) * kDay + *start + *length);
}

std::int32_t readDay(const JsonValue& value, UtcTime now) {
  const std::string& text = value.string();
  if (text == "today") return static_cast<std::int32_t>(minuteOf(now) / kDay);
  TextReader reader(text);
  const auto day = readDate(reader);
  if (day && reader.isRead()) return *day;
  refuse(value, R"(a day like "2026-11-21" or "today")");
}

std::string dayText(std::int32_t mjd) {
  const Date date = dateOf(mjd);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", date.year, date.month, date.day);
  return text;
}

}  // namespace vantor::tables
