#include "programs/monitor/RateWindow.h"

#include <gtest/gtest.h>

namespace vantor::monitor {
namespace {

constexpr std::int64_t kMillisecond = 1000000;

TEST(RateWindow, IsTheRateOfTheLastTwoSeconds) {
  RateWindow rate;
  std::int64_t now = 0;
  EXPECT_EQ(rate.kbps(now), 0);
  for (; now < 5000 * kMillisecond; now += kMillisecond) rate.add(now);  // 1504 kbit/s
  EXPECT_DOUBLE_EQ(rate.kbps(now), 1504);
  for (; now < 6000 * kMillisecond; now += 2 * kMillisecond) rate.add(now);
  EXPECT_NEAR(rate.kbps(now), 1504 * 0.75, 30);
  for (; now < 9000 * kMillisecond; now += 2 * kMillisecond) rate.add(now);
  EXPECT_DOUBLE_EQ(rate.kbps(now), 752);
}

TEST(RateWindow, IsThatOfWhatThereIsAtTheBeginning) {
  RateWindow rate;
  std::int64_t now = 7000 * kMillisecond;
  for (; now < 7500 * kMillisecond; now += kMillisecond) rate.add(now);
  EXPECT_DOUBLE_EQ(rate.kbps(now), 1504);
}

TEST(RateWindow, FallsToNothingWhenNothingComes) {
  RateWindow rate;
  for (int i = 0; i < 1000; ++i) rate.add(i * kMillisecond);
  EXPECT_NEAR(rate.kbps(2000 * kMillisecond), 752, 1);
  EXPECT_EQ(rate.kbps(4000 * kMillisecond), 0);
  rate.add(60000 * kMillisecond);
  EXPECT_LT(rate.kbps(60100 * kMillisecond), 1);
}

}  // namespace
}  // namespace vantor::monitor
