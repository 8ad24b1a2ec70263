#include "servicemux/muxer/Ceiling.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using boost::chrono::microseconds;
using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;
using vantor::Ceiling;

using time_point = Ceiling::time_point;

/// A ceiling of 1000 kbit/s, 664 packets a second, under which packets leave as soon as they may.
class CeilingTest : public testing::Test {
 protected:
  static constexpr int kPackets = 664;
  static constexpr int kKept = 21;
  static constexpr microseconds kSlot{1504};

  CeilingTest() { set(1000); }

  void take() {
    ceiling.take(start + now);
    left.push_back(now);
  }

  /// All packets that may leave at once; `pressing` or not.
  int takeAll(bool pressing, nanoseconds ahead = nanoseconds::zero()) {
    int count = 0;
    for (; pressing ? ceiling.allowsPressing(start + now) : ceiling.allows(start + now, ahead); ++count) take();
    return count;
  }

  void runUntil(nanoseconds end, bool pressing) {
    for (; now < end; now += microseconds(50)) takeAll(pressing);
  }

  /// Each packet from `first` on is more than a second behind the one so many before it.
  void expectNoMoreASecond(int packets, std::size_t first = 0) const {
    const auto apart = static_cast<std::size_t>(packets);
    for (std::size_t i = std::max(first, apart); i < left.size(); ++i)
      ASSERT_GT(left[i] - left[i - apart], seconds(1)) << "packet " << i << " at " << left[i].count();
  }

  void set(unsigned int kbps) {
    ceiling.set(kbps, start + now);
    changed = now;
  }

  /// In each second that has begun before the bitrate changed: so many packets a second before, and so many behind.
  void expectNoMoreThanBothRates(int before, int behind) const {
    for (const nanoseconds at : left) {
      if (at <= changed || at > changed + seconds(1)) continue;
      const double part = boost::chrono::duration<double>(at - changed).count();
      ASSERT_LE(countBetween(at - seconds(1), at), before * (1 - part) + behind * part + 1) << at.count();
    }
  }

  [[nodiscard]] int countBetween(nanoseconds from, nanoseconds to) const {
    int count = 0;
    for (const nanoseconds at : left) count += from < at && at <= to ? 1 : 0;
    return count;
  }

  const time_point start = time_point(seconds(1000));
  nanoseconds now{0};
  nanoseconds changed{0};
  std::vector<nanoseconds> left;
  Ceiling ceiling;
};

}  // namespace

TEST_F(CeilingTest, ASlotIsThatOf1504Bits) {
  EXPECT_EQ(ceiling.slot(), microseconds(1504));
  ceiling.set(1, start + now);
  EXPECT_EQ(ceiling.slot(), milliseconds(1504));
  ceiling.set(100000, start + now);
  EXPECT_EQ(ceiling.slot(), nanoseconds(15040));
  EXPECT_NEAR(ceiling.rate(), 1e15 / 15040, 1);
}

TEST_F(CeilingTest, ASenderThatComesLateMakesUpForTwoMilliseconds) {
  EXPECT_EQ(takeAll(false), 2) << "of 1.5 ms each";
  now = seconds(10);
  EXPECT_EQ(takeAll(false), 2);
}

TEST_F(CeilingTest, PacketsLeaveAsFarAheadOfTheirSlotsAsTheyMay) {
  EXPECT_EQ(takeAll(false, milliseconds(20)), 15) << "22 ms of 1.504";
  now += milliseconds(3);
  EXPECT_EQ(takeAll(false, milliseconds(20)), 2);
}

TEST_F(CeilingTest, WhatPressesIsAHundredMillisecondsAhead) {
  EXPECT_EQ(takeAll(true), 68) << "102 ms of 1.504";
  EXPECT_EQ(ceiling.nextPressing(), start + 68 * kSlot - milliseconds(102));
}

TEST_F(CeilingTest, NoSecondHasMoreThanTheBitrateWhateverPresses) {
  runUntil(seconds(4), true);
  expectNoMoreASecond(kPackets);
  EXPECT_GE(countBetween(seconds(1), seconds(4)), 3 * kPackets - 5) << "and it is used";
}

TEST_F(CeilingTest, RoomOf21PacketsASecondIsKeptForWhatPresses) {
  runUntil(seconds(4), false);
  expectNoMoreASecond(kPackets - kKept);
  EXPECT_GE(countBetween(seconds(1), seconds(4)), 3 * (kPackets - kKept) - 5);
  EXPECT_EQ(takeAll(true), kKept);
  expectNoMoreASecond(kPackets);
}

TEST_F(CeilingTest, ATenthIsKeptWhereThatIsLess) {
  ceiling.set(100, start + now);
  runUntil(seconds(4), false);
  expectNoMoreASecond(60);
  EXPECT_EQ(takeAll(true), 6);
}

TEST_F(CeilingTest, SeveralPacketsMayLeaveAtOnceFromTheMomentThatIsSaid) {
  runUntil(seconds(3), false);
  const time_point next = ceiling.nextFor(7);
  EXPECT_EQ(ceiling.nextFor(1), ceiling.next(nanoseconds::zero()));
  EXPECT_GT(next, start + now);
  now = next - start - nanoseconds(1);
  EXPECT_LT(takeAll(false, 6 * kSlot), 7);
}

TEST_F(CeilingTest, FromThatMomentOnThereAreAsMany) {
  runUntil(seconds(3), false);
  now = ceiling.nextFor(7) - start;
  EXPECT_GE(takeAll(false, 6 * kSlot), 7);
}

TEST_F(CeilingTest, WhatHasLeftCountsWhenTheBitrateIsRaised) {
  ceiling.set(500, start);
  runUntil(milliseconds(1990), true);
  set(1000);
  EXPECT_LE(ceiling.nextPressing(), start + now + milliseconds(10)) << "there is room soon";
  runUntil(seconds(5), true);
  expectNoMoreThanBothRates(332, kPackets);
  EXPECT_GT(countBetween(milliseconds(1990), milliseconds(2490)), 300);
}

TEST_F(CeilingTest, WhatHasLeftCountsWhenTheBitrateIsLowered) {
  runUntil(seconds(2), true);
  set(100);
  runUntil(seconds(5), true);
  expectNoMoreThanBothRates(kPackets, 66);
  EXPECT_GE(countBetween(milliseconds(2001), seconds(5)), 3 * 66 - 20) << "and goes on at once";
}

TEST_F(CeilingTest, WhatHasNotLeftBeforeTheBitrateIsRaisedDoesNotLeaveAtTheNewOne) {
  ceiling.set(500, start);
  runUntil(milliseconds(200), true);
  now = milliseconds(1990);
  set(1000);
  runUntil(seconds(5), true);
  expectNoMoreThanBothRates(332, kPackets);
}

TEST_F(CeilingTest, AnInstantAtAHigherBitrateChangesNothing) {
  runUntil(milliseconds(1700), true);
  const time_point next = ceiling.nextPressing();
  set(100000);
  set(1000);
  EXPECT_LE(next, ceiling.nextPressing() + microseconds(1));
  const std::size_t first = left.size();
  runUntil(milliseconds(4700), true);
  expectNoMoreASecond(kPackets, first);
  EXPECT_GE(countBetween(milliseconds(1700), milliseconds(4700)), 3 * kPackets - 80);
}

TEST_F(CeilingTest, WhatHasLeftCountsWhenTheBitrateIsLoweredAndRaisedAgain) {
  runUntil(milliseconds(1700), true);  // so that the place that is used next is somewhere in the middle
  set(900);
  set(1000);
  const std::size_t first = left.size();
  runUntil(seconds(4), true);
  expectNoMoreASecond(kPackets, first);
}

TEST_F(CeilingTest, ASecondThatSomebodyElseHasSentInCountsAsFull) {
  runUntil(milliseconds(1700), true);
  now = seconds(20);
  const std::size_t first = left.size();
  ceiling.fillUntil(start + now);
  runUntil(seconds(23), true);
  for (std::size_t i = first; i < left.size(); ++i)
    ASSERT_GE(left[i] - now + seconds(3), static_cast<int>(i - first) * kSlot) << i;
  EXPECT_GE(countBetween(seconds(20), seconds(23)), 3 * kPackets - 10);
}

TEST_F(CeilingTest, TheLeastBitrateLetsOnePacketASecondAndAHalf) {
  ceiling.set(1, start + now);
  runUntil(seconds(16), true);
  EXPECT_LE(left.size(), 12U);
  EXPECT_GE(left.size(), 10U);
}
