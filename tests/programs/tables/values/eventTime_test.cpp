#include "programs/tables/values/eventTime.h"

#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"

namespace vantor::tables::eventTime_test {
namespace {

using namespace std::chrono_literals;

// 2026-11-21T01:41:48Z
constexpr std::chrono::system_clock::time_point kNow{std::chrono::seconds(1795225308)};

std::int64_t startOf(const std::string& text) {
  const Json json(text);
  return readStartTime(JsonValue(json), kNow);
}

template <typename Read>
std::string errorOf(Read read, const Json& json) {
  try {
    read(JsonValue(json));
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

std::string startError(const Json& json) {
  return errorOf([](const JsonValue& value) { readStartTime(value, kNow); }, json);
}

std::int32_t durationOf(const std::string& text) {
  const Json json(text);
  return readDuration(JsonValue(json));
}

TEST(EventTime, ReadsTheExampleOfTheStandard) {
  EXPECT_EQ(startOf("1993-10-13T12:45:00Z"), 0xC079124500);  // EN 300 468 clause 5.2.4
  EXPECT_EQ(startTimeText(0xC079124500), "1993-10-13T12:45:00Z");
  EXPECT_EQ(durationOf("01:45:30"), 0x014530);
  EXPECT_EQ(durationText(0x014530), "01:45:30");
}

TEST(EventTime, GoesFromTextToWireAndBackOnEveryDay) {
  for (std::int64_t day = 0; day <= 0xFFFF; ++day) {
    const std::int64_t start = day << 24 | 0x235959;
    ASSERT_EQ(startOf(startTimeText(start)), start) << startTimeText(start);
  }
  EXPECT_EQ(startTimeText(0x000000), "1858-11-17T00:00:00Z");
  EXPECT_EQ(startTimeText(0xFFFF000000), "2038-04-22T00:00:00Z");
  EXPECT_EQ(dayText(51544), "2000-01-01");
  EXPECT_EQ(dayText(60369), "2024-02-29");
}

TEST(EventTime, KeepsWhatIsNoTime) {
  EXPECT_EQ(startTimeText(0xFFFFFFFFFF), "undefined");
  EXPECT_EQ(startOf("undefined"), 0xFFFFFFFFFF);
  EXPECT_EQ(durationText(0xFFFFFF), "undefined");
  EXPECT_EQ(durationOf("undefined"), 0xFFFFFF);
  for (const std::int64_t start : {0xE489240000, 0xE489126000, 0xE489120060, 0xE48912000A, 0xE489A20000})
    EXPECT_EQ(startOf(startTimeText(start)), start) << startTimeText(start);
  EXPECT_EQ(startTimeText(0xE489240000), "0xe489240000");
  EXPECT_EQ(startTimeText(0x00000000FF), "0x00000000ff");
  for (const std::int32_t duration : {0x006000, 0x000060, 0x0A0000, 0x00000F})
    EXPECT_EQ(durationOf(durationText(duration)), duration) << durationText(duration);
  EXPECT_EQ(durationText(0x006000), "0x006000");
  EXPECT_EQ(durationText(0x995959), "99:59:59");
}

TEST(EventTime, CountsFromNowInWholeMinutes) {
  EXPECT_EQ(startOf("now"), startOf("2026-11-21T01:41:00Z"));
  EXPECT_EQ(startOf("now+00:30"), startOf("2026-11-21T02:11:00Z"));
  EXPECT_EQ(startOf("now-02:00"), startOf("2026-11-20T23:41:00Z"));
  EXPECT_EQ(startOf("now+100:00"), startOf("2026-11-25T05:41:00Z"));
}

TEST(EventTime, CountsFromTheBeginningOfTheDay) {
  EXPECT_EQ(startOf("today"), startOf("2026-11-21T00:00:00Z"));
  EXPECT_EQ(startOf("today+26:15"), startOf("2026-11-22T02:15:00Z"));
  EXPECT_EQ(startOf("today-00:01"), startOf("2026-11-20T23:59:00Z"));
}

TEST(EventTime, RefusesWhatIsNeitherTimeNorHex) {
  for (const char* text : {"",
                           "12:00",
                           "2026-11-21",
                           "2026-11-21T12:00Z",
                           "2026-11-21T12:00:00",
                           "2026-13-01T00:00:00Z",
                           "2026-00-01T00:00:00Z",
                           "2026-02-29T00:00:00Z",
                           "2026-04-31T00:00:00Z",
                           "2026-01-00T00:00:00Z",
                           "2026-11-21T24:00:00Z",
                           "2026-11-21T12:60:00Z",
                           "2026-11-21T12:00:60Z",
                           "1858-11-16T23:59:59Z",
                           "2038-04-23T00:00:00Z",
                           "now+1:00",
                           "now+00:60",
                           "now+00:30:00",
                           "now 00:30",
                           "today+99999:00",
                           "today-9999:00x",
                           "0xfffffffff",
                           "0xfffffffffff",
                           "0xfffffffffg",
                           "ffffffffffff"})
    EXPECT_EQ(startError(text), Json(text).dump() +
                                    " is not a time like \"2026-11-21T12:00:00Z\", \"now+00:30\" or "
                                    "\"today+26:00\"");
  EXPECT_EQ(startError(5), "5 is not a string");
  EXPECT_EQ(startError("\n\xC3"),
            "\"\\n\\ufffd\" is not a time like \"2026-11-21T12:00:00Z\", \"now+00:30\" or \"today+26:00\"");
}

TEST(EventTime, RefusesATimeThatTheWireHasNoRoomFor) {
  const Json json("now+9999:00");
  const std::chrono::system_clock::time_point late(std::chrono::hours(24) * 24900);
  EXPECT_THROW(readStartTime(JsonValue(json), late), InputError);
}

TEST(EventTime, RefusesWhatIsNoDuration) {
  for (const char* text : {"", "1:00:00", "01:60:00", "01:00:60", "100:00:00", "01:00", "0x00600", "0x0060000"})
    EXPECT_EQ(errorOf(readDuration, text), Json(text).dump() + " is not a duration like \"01:30:00\"");
}

TEST(EventTime, ReadsDays) {
  const auto read = [](const JsonValue& value) { return readDay(value, kNow); };
  EXPECT_EQ(read(JsonValue(Json("1858-11-17"))), 0);
  EXPECT_EQ(read(JsonValue(Json("today"))), dayOf(startOf("today")));
  for (const char* text : {"2026-02-29", "tomorrow", "2026-11-21T00:00:00Z", "2038-04-23"})
    EXPECT_EQ(errorOf(read, text), Json(text).dump() + " is not a day like \"2026-11-21\" or \"today\"");
}

TEST(EventTime, KnowsWhenAnEventEnds) {
  EXPECT_EQ(endOf(startOf("2026-12-31T23:30:00Z"), 0x003000), startOf("2027-01-01T00:00:00Z"));
  EXPECT_EQ(endOf(startOf("2026-11-21T12:00:00Z"), 0x995959), startOf("2026-11-25T15:59:59Z"));
  EXPECT_FALSE(endOf(0xFFFFFFFFFF, 0x003000));
  EXPECT_FALSE(endOf(startOf("2026-11-21T12:00:00Z"), 0xFFFFFF));
  EXPECT_FALSE(endOf(0xFFFF233000, 0x003000));
}

}  // namespace
}  // namespace vantor::tables::eventTime_test
