#include "servicemux/muxer/UtcSecond.h"

#include "servicemux/muxer/standardsLimits.h"

namespace vantor {

namespace {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;

constexpr nanoseconds kSecond = boost::chrono::seconds(1);
constexpr nanoseconds kFirst = milliseconds(2);    // not before: clocks do not agree to the microsecond
constexpr nanoseconds kReserve = milliseconds(6);  // of the period, for a thread that wakes up late

}  // namespace

nanoseconds untilSecond(nanoseconds elapsed) {
  if (elapsed < kFirst) return kFirst - elapsed;
  return elapsed <= kBeginOfSecond ? nanoseconds::zero() : kSecond + kFirst - elapsed;
}

nanoseconds untilNextSecond(nanoseconds elapsed, nanoseconds period) {
  const nanoseconds longest = period - kReserve;
  const nanoseconds then = (elapsed + longest) % kSecond;
  if (kFirst <= then && then <= kBeginOfSecond) return longest;
  const nanoseconds tooLate = then > kBeginOfSecond ? then - kBeginOfSecond : then + kSecond - kBeginOfSecond;
  return longest - tooLate > standards::kGap ? longest - tooLate : longest;
}

}  // namespace vantor
