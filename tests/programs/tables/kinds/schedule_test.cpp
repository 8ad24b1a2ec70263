#include "programs/tables/kinds/schedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/programs/streams.h"

namespace vantor::tables::schedule_test {
namespace {

using namespace vantor::testing;
using ::testing::ElementsAre;
using thrift::dvb_tables::EITSectioning;

constexpr std::int64_t kMonday = 0xE489;  // MJD

/// One event at noon of each of these days.
EIT makeSchedule(const std::vector<int>& days) {
  EIT schedule;
  schedule.table_id = 0x50;
  schedule.service_id = 7;
  schedule.__set_sectioning(EITSectioning::STANDARD);
  for (const int day : days) schedule.events.push_back(makeEvent({day, (kMonday + day) << 24 | 0x120000}));
  return schedule;
}

/// section_number and first event's id of each section that has an event.
std::vector<std::pair<int, int>> placesOf(const EIT& table) {
  std::vector<std::pair<int, int>> places;
  for (const auto& section : sectionsOf(table))
    if (section.size() > 18)
      places.emplace_back(static_cast<unsigned char>(section[6]), static_cast<unsigned char>(section[15]));
  return places;
}

TEST(Schedule, OfTenDaysHasThreeTables) {
  const auto tables = splitSchedule(makeSchedule({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  ASSERT_EQ(tables.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(tables[i].table_id, 0x50 + static_cast<int>(i));
    EXPECT_EQ(tables[i].__isset.last_table_id ? tables[i].last_table_id : tables[i].table_id, 0x52);
    EXPECT_EQ(firstDayOf(tables[i]), kMonday + 4 * static_cast<int>(i));
    for (const auto& section : sectionsOf(tables[i])) EXPECT_EQ(section[13], 0x52);
  }
  EXPECT_THAT(placesOf(tables[0]),
              ElementsAre(std::pair(32, 0), std::pair(96, 1), std::pair(160, 2), std::pair(224, 3)));
  EXPECT_THAT(placesOf(tables[1]),
              ElementsAre(std::pair(32, 4), std::pair(96, 5), std::pair(160, 6), std::pair(224, 7)));
  EXPECT_THAT(placesOf(tables[2]), ElementsAre(std::pair(32, 8), std::pair(96, 9)));
}

TEST(Schedule, CountsItsSegmentsFromTheFirstDay) {
  EIT schedule = makeSchedule({1, 5});
  setFirstDay(schedule, kMonday);
  const auto tables = splitSchedule(schedule);
  ASSERT_EQ(tables.size(), 2U);
  EXPECT_THAT(placesOf(tables[0]), ElementsAre(std::pair(96, 1)));
  EXPECT_THAT(placesOf(tables[1]), ElementsAre(std::pair(96, 5)));
}

TEST(Schedule, HasATableForFourDaysWithoutEvents) {
  const auto tables = splitSchedule(makeSchedule({0, 9}));
  ASSERT_EQ(tables.size(), 3U);
  EXPECT_TRUE(tables[1].events.empty());
  EXPECT_EQ(sectionsOf(tables[1]).size(), 1U);
  EXPECT_EQ(joinSchedule(tables), makeSchedule({0, 9}));
}

TEST(Schedule, ComesBackFromItsTables) {
  EIT early = makeSchedule({3, 40, 63});
  setFirstDay(early, kMonday);
  EIT empty = makeSchedule({});
  EIT packed = makeSchedule({5, 1});
  packed.__set_sectioning(EITSectioning::PACKED);
  EIT other = makeSchedule({0, 5});
  other.table_id = 0x60;
  for (const EIT& schedule : {makeSchedule({0}), makeSchedule({0, 3}), early, empty, packed, other})
    EXPECT_EQ(joinSchedule(splitSchedule(schedule)), schedule);
}

TEST(Schedule, IsNotMadeOfTablesThatDoNotFitTogether) {
  const auto tables = splitSchedule(makeSchedule({0, 4, 8}));
  EXPECT_EQ(joinSchedule({tables[0], tables[2]}), std::nullopt);
  EXPECT_EQ(joinSchedule({tables[1], tables[2]}), std::nullopt);
  EXPECT_EQ(joinSchedule({tables[0]}), std::nullopt);  // its last_table_id tells of others
  auto versions = tables;
  versions[1].version_number = 9;
  EXPECT_EQ(joinSchedule(versions), std::nullopt);
  auto days = tables;
  setFirstDay(days[1], kMonday + 3);
  EXPECT_EQ(joinSchedule(days), std::nullopt);
  auto packed = tables;
  packed[1].__set_sectioning(EITSectioning::PACKED);
  EXPECT_EQ(joinSchedule(packed), std::nullopt);
  EIT alone = makeSchedule({1, 0});
  alone.__set_sectioning(EITSectioning::PACKED);
  setLastTableId(alone, 0x51);
  EXPECT_EQ(joinSchedule({alone}), std::nullopt);
}

std::string misplacedIn(const EIT& schedule) {
  const auto misplaced = firstMisplaced(schedule);
  if (!misplaced) return "none";
  return std::to_string(misplaced->event) + (misplaced->isOutside ? " outside" : " too late");
}

TEST(Schedule, KnowsTheFirstEventThatHasNoPlace) {
  EXPECT_EQ(misplacedIn(makeSchedule({0, 1, 63})), "none");
  EXPECT_EQ(misplacedIn(makeSchedule({0, 1, 64})), "2 outside");
  EXPECT_EQ(misplacedIn(makeSchedule({1, 2, 0})), "2 outside");
  EXPECT_EQ(misplacedIn(makeSchedule({0, 2, 1})), "2 too late");
  EIT undefined = makeSchedule({0, 1});
  undefined.events[1].start_time = 0xFFFFFFFFFF;
  EXPECT_EQ(misplacedIn(undefined), "1 outside");
  EIT late = makeSchedule({0});
  setFirstDay(late, kMonday + 1);
  EXPECT_EQ(misplacedIn(late), "0 outside");
}

}  // namespace
}  // namespace vantor::tables::schedule_test
