#include "servicemux/muxer/UtcSecond.h"

namespace vantor {

namespace {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;

constexpr nanoseconds kSecond = boost::chrono::seconds(1);
// Of the second's beginning, which is its first tenth.
constexpr nanoseconds kFirst = milliseconds(12);  // not before: clocks of whole seconds lag by a tick of the kernel
constexpr nanoseconds kWanted = milliseconds(75);  // no later where it can be chosen
constexpr nanoseconds kLast = milliseconds(95);

constexpr nanoseconds kReserve = milliseconds(6);   // of the period, for a thread that wakes up late
constexpr nanoseconds kNearest = milliseconds(50);  // of two sendings

}  // namespace

nanoseconds untilSecond(nanoseconds elapsed, nanoseconds period) {
  if (period < kSecond) return nanoseconds::zero();
  if (elapsed < kFirst) return kFirst - elapsed;
  return elapsed <= kLast ? nanoseconds::zero() : kSecond + kFirst - elapsed;
}

nanoseconds untilNextSecond(nanoseconds elapsed, nanoseconds period) {
  const nanoseconds longest = period - kReserve;
  if (period < kSecond) return longest;
  const nanoseconds then = (elapsed + longest) % kSecond;
  if (kFirst <= then && then <= kWanted) return longest;
  const nanoseconds tooLate = then > kWanted ? then - kWanted : then + kSecond - kWanted;
  return longest - tooLate > kNearest ? longest - tooLate : kSecond + kFirst - elapsed;
}

}  // namespace vantor
