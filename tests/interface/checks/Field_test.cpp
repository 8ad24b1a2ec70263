#include "interface/checks/Field.h"

#include <gmock/gmock.h>

#include <cstdint>

#include "tests/interface/checks/refuses.h"

using vantor::Field;
using vantor::Refusal;

namespace {

std::optional<Refusal> rangeOf(std::int64_t value, std::int64_t max) {
  std::optional<Refusal> refusal;
  const bool passed = inRange(Field(refusal)["x"], value, max);
  EXPECT_NE(passed, refusal.has_value());
  return refusal;
}

}  // namespace

TEST(Field, IsNamedByAJsonPointer) {
  std::optional<Refusal> refusal;
  const Field record(refusal);
  EXPECT_FALSE(record.refuse("the reason"));
  EXPECT_THAT(refusal, refuses("", "", "the reason"));
  EXPECT_FALSE(record["pid"].refuse("1", "is odd"));
  EXPECT_THAT(refusal, refuses("/pid", "1", "is odd"));
  const Field entry = record.entry("lists", -3);
  EXPECT_FALSE(entry.element(12).refuse("x", "y"));
  EXPECT_THAT(refusal, refuses("/lists/-3/12", "x", "y"));
  const Field program = record.element("programs", 0);
  EXPECT_FALSE(program["pid"].refuse("x", "y"));
  EXPECT_THAT(refusal, refuses("/programs/0/pid", "x", "y"));
}

TEST(Field, RangesIncludeTheirLimits) {
  EXPECT_THAT(rangeOf(0, 0x1FFF), passes());
  EXPECT_THAT(rangeOf(0x1FFF, 0x1FFF), passes());
  EXPECT_THAT(rangeOf(0x2000, 0x1FFF), refuses("/x", "8192", "is above 0x1FFF"));
  EXPECT_THAT(rangeOf(-1, 0x1FFF), refuses("/x", "-1", "is negative"));
  EXPECT_THAT(rangeOf(INT64_MIN, 1), refuses("/x", "-9223372036854775808", "is negative"));
  EXPECT_THAT(rangeOf(INT64_MAX, 1), refuses("/x", "9223372036854775807", "is above 0x1"));
}

TEST(Refusal, ReadsAsOneTextWithAValueAndWithout) {
  EXPECT_EQ(textOf(Refusal{"/pid", "9000", "is above 0x1FFF"}), "9000 is above 0x1FFF");
  EXPECT_EQ(textOf(Refusal{"", "", "needs 1025 bytes"}), "needs 1025 bytes");
}
