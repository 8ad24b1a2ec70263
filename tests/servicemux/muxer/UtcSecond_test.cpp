#include "servicemux/muxer/UtcSecond.h"

#include <gtest/gtest.h>

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;
using vantor::untilNextSecond;
using vantor::untilSecond;

TEST(UtcSecond, ATableMayLeaveInItsFirstTenthOnly) {
  for (int ms = 0; ms < 1000; ++ms) {
    const nanoseconds until = untilSecond(milliseconds(ms), seconds(1));
    const nanoseconds then = (milliseconds(ms) + until) % nanoseconds(seconds(1));
    EXPECT_GE(then, milliseconds(12)) << ms;  // a clock of whole seconds may lag by a tick of the kernel
    EXPECT_LT(then, milliseconds(100)) << ms;
  }
}

TEST(UtcSecond, EachSendingIsWithinThePeriodAndAtTheBeginningOfASecond) {
  for (const int period : {1000, 1500, 10000, 30000}) {
    nanoseconds elapsed = milliseconds(40);
    nanoseconds sum{0};
    constexpr int kSendings = 1000;
    for (int i = 0; i < kSendings; ++i) {
      const nanoseconds until = untilNextSecond(elapsed, milliseconds(period));
      EXPECT_LT(until, milliseconds(period));
      EXPECT_GE(until, milliseconds(50));
      elapsed = (elapsed + until) % nanoseconds(seconds(1));
      EXPECT_GE(elapsed, milliseconds(12));
      EXPECT_LT(elapsed, milliseconds(100));
      sum += until;
    }
    const int least = period % 1000 == 0 ? 90 : 60;  // percent; half a second is given away where it must be
    EXPECT_GE(sum, milliseconds(period) * kSendings * least / 100) << period;
  }
}

TEST(UtcSecond, WithAPeriodBelowASecondOnlyThePeriodCounts) {
  EXPECT_EQ(untilSecond(milliseconds(500), milliseconds(999)), nanoseconds::zero());
  EXPECT_EQ(untilNextSecond(milliseconds(500), milliseconds(400)), milliseconds(394));
}
