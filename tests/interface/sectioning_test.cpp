#include "interface/psi/sectioning.h"

#include <gtest/gtest.h>

namespace {

constexpr int kFirstDay = 60000;  // MJD

/// The segment of `hour`, as it stands in the time, on a day that is so many after the first.
std::optional<int> segmentOfHour(unsigned hour, int day = 0) {
  return vantor::segmentOf(static_cast<std::uint64_t>(kFirstDay + day) << 24 | std::uint64_t{hour} << 16 | 0x5959,
                           kFirstDay);
}

}  // namespace

TEST(SegmentOf, HoursAreTwoDecimalDigits) {
  for (unsigned tens = 0; tens < 16; ++tens)
    for (unsigned ones = 0; ones < 16; ++ones) {
      const unsigned hour = tens * 10 + ones;
      const bool isHour = ones <= 9 && hour <= 23;
      const auto expected = isHour ? std::optional<int>(hour / 3) : std::nullopt;
      EXPECT_EQ(segmentOfHour(tens << 4 | ones), expected) << std::hex << (tens << 4 | ones);
    }
}

TEST(SegmentOf, DaysHaveEightSegmentsAndATableFourDays) {
  EXPECT_EQ(segmentOfHour(0x00, -1), std::nullopt);
  EXPECT_EQ(segmentOfHour(0x00, 1), 8);
  EXPECT_EQ(segmentOfHour(0x23, 3), 31);
  EXPECT_EQ(segmentOfHour(0x00, 4), std::nullopt);
}
