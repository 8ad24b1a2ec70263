#include <ctime>

#include "interface/host.h"
#include "interface/psi/mjd.h"

// EN 300 468 annex C: days are counted from the Modified Julian Date's epoch, times of day are BCD.

namespace {

constexpr long long kSecondsPerDay = 86400;

constexpr long long toBcd(long long value) { return (value / 10 % 10) << 4 | value % 10; }

int bcdByte(unsigned long long code, int shift) { return bcd4_2_bin(static_cast<unsigned char>(code >> shift)); }

}  // namespace

long long GetUTCTime(void) {
  const long long now = std::time(nullptr);
  const long long day = (now / kSecondsPerDay + vantor::kMjdOfPosixEpoch) & 0xFFFF;
  const long long second = now % kSecondsPerDay;
  return day << 24 | toBcd(second / 3600) << 16 | toBcd(second / 60 % 60) << 8 | toBcd(second % 60);
}

int IsSystemTimeSet(void) { return 0; }

int bcd4_2_bin(unsigned char bcd) { return (bcd >> 4) * 10 + (bcd & 0x0F); }

long long convertDVBTimeToTimestamp(unsigned long long utc) {
  const auto day = static_cast<long long>(utc >> 24 & 0xFFFF);
  const long long hours = bcdByte(utc, 16);
  const long long minutes = hours * 60 + bcdByte(utc, 8);
  return (day - vantor::kMjdOfPosixEpoch) * kSecondsPerDay + minutes * 60 + bcdByte(utc, 0);
}
