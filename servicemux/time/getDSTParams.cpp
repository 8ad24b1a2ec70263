#include "servicemux/time/getDSTParams.h"

#include <ctime>

#include "interface/host.h"

namespace vantor {

namespace {

constexpr unsigned int kInEffect = 0x8000;
constexpr int kDayShift = 8;
constexpr unsigned int kDayMask = 0x1F;
constexpr unsigned int kHourMask = 0xFF;
constexpr int kMinutesPerHour = 60;

std::tm brokenDown(std::time_t time) {
  std::tm utc{};
  gmtime_r(&time, &utc);
  return utc;
}

/// An offset in minutes, from four BCD digits hhmm. The sign applies to the hours only, so that -03:30 counts as
/// -150 minutes. Kept for compatibility.
int offsetMinutes(short hhmm, int sign) {
  const auto digits = static_cast<unsigned short>(hhmm);
  const int hours = bcd4_2_bin(static_cast<unsigned char>(digits >> 8));
  return bcd4_2_bin(static_cast<unsigned char>(digits)) + sign * hours * kMinutesPerHour;
}

/// Whether the change is less than a month ahead, so that its day of the month is enough to tell it. Only months
/// and days are compared: a change in January is not announced in December, and one that is a year further away is
/// announced too early. Kept for compatibility.
bool isAnnounced(const std::tm& change, const std::tm& now) {
  if (change.tm_mon - now.tm_mon == 1) return change.tm_mday < now.tm_mday;
  if (change.tm_mon != now.tm_mon) return false;
  return now.tm_mday < change.tm_mday || (now.tm_mday == change.tm_mday && now.tm_hour < change.tm_hour);
}

}  // namespace

unsigned short getDSTParams(const vantor::thrift::dvb_tables::LocalTimeOffset& lto, const long& now) {
  if (lto.time_of_change == 0) return 0;
  const int sign = lto.local_time_offset_polarity == 0 ? 1 : -1;
  const int current = offsetMinutes(lto.local_time_offset, sign);
  const int next = offsetMinutes(lto.next_time_offset, sign);
  const auto timeOfChange = static_cast<unsigned long long>(lto.time_of_change);
  const std::tm change = brokenDown(static_cast<std::time_t>(convertDVBTimeToTimestamp(timeOfChange)));
  unsigned int field = 0;
  if (isAnnounced(change, brokenDown(now))) {
    const auto day = static_cast<unsigned int>(change.tm_mday) & kDayMask;
    const auto hour = static_cast<unsigned int>(current / kMinutesPerHour + change.tm_hour) & kHourMask;
    field = day << kDayShift | hour;
  }
  if (next - current <= 0) field |= kInEffect;
  return static_cast<unsigned short>(field);
}

}  // namespace vantor
