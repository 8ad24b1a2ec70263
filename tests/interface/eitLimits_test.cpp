#include <gtest/gtest.h>

#include <algorithm>

#include "interface/converters/check.h"
#include "interface/converters/optionals.h"
#include "interface/converters/owned.h"
#include "interface/converters/t2dEIT.h"
#include "tests/interface/RandomParts.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/sections.h"

// The converter refuses what cannot be divided into sections, and nothing else.

using namespace vantor::thrift::dvb_tables;
using vantor::EitTable;

namespace {

constexpr int kDay = 60000;  // MJD

struct Time {
  int hour;  // since 00:00 of kDay
  int minute;
};

std::int64_t startTime(const Time& time) {
  const int hour = time.hour % 24;
  const int bcd = (hour / 10 << 4 | hour % 10) << 8 | time.minute / 10 << 4 | time.minute % 10;
  return static_cast<std::int64_t>(kDay + time.hour / 24) << 24 | bcd << 8;
}

EIT newEit(RandomParts& random) {
  EIT eit;
  eit.table_id = 0x50;
  eit.service_id = 0x0401;
  eit.version_number = 5;
  eit.transport_stream_id = 0x0101;
  eit.original_network_id = 0x20FA;
  if (random.oneIn(2)) eit.__set_last_table_id(static_cast<std::int16_t>(random.number(0, 255)));
  return eit;
}

void addEvent(EIT& eit, RandomParts& random, std::int64_t start, int mostDescriptors) {
  EITEvent event;
  event.event_id = random.number(0, 0xFFFF);
  event.start_time = start;
  event.duration = random.number(0, 0xFFFFFF);
  event.running_status = static_cast<std::int16_t>(random.number(0, 7));
  event.free_CA_mode = random.oneIn(2);
  event.descriptors = random.descriptors(mostDescriptors);
  if (random.oneIn(10)) event.__set_starts_section(true);
  eit.events.push_back(event);
}

/// At times one event fits no section; hundreds may need too many of them.
EIT somePacked(unsigned seed) {
  RandomParts random(seed);
  EIT eit = newEit(random);
  const bool many = random.oneIn(4);
  for (int left = many ? random.number(250, 350) : random.number(0, 20); left > 0; --left) {
    addEvent(eit, random, random.number(0, 0xFFFFFF), many ? 3 : 24);
    if (many && !random.oneIn(8)) eit.events.back().__set_starts_section(true);
  }
  return eit;
}

EIT somePresentFollowing(unsigned seed) {
  RandomParts random(seed);
  EIT eit = newEit(random);
  eit.__set_sectioning(EITSectioning::STANDARD);
  eit.table_id = random.oneIn(2) ? 0x4E : 0x4F;
  if (random.oneIn(2)) eit.__set_present_missing(random.oneIn(2));
  for (int left = random.number(0, 3); left > 0; --left) addEvent(eit, random, random.number(0, 0xFFFFFF), 20);
  return eit;
}

/// At times it has too many events for a segment, they are out of order, or there is a time outside of four days.
EIT someSchedule(unsigned seed) {
  RandomParts random(seed);
  EIT eit = newEit(random);
  eit.__set_sectioning(EITSectioning::STANDARD);
  const int days = random.oneIn(4) ? 5 : random.number(1, 4);
  std::vector<std::int64_t> starts(static_cast<std::size_t>(random.number(0, 60)));
  for (std::int64_t& start : starts) start = startTime({random.number(0, 24 * days - 1), random.number(0, 59)});
  std::sort(starts.begin(), starts.end());
  if (random.oneIn(8) && starts.size() > 1)
    std::swap(starts.front(),
              starts[static_cast<std::size_t>(random.number(1, static_cast<int>(starts.size()) - 1))]);
  if (random.oneIn(8) && !starts.empty()) starts.back() |= 0xFF0000;
  const int most = random.oneIn(3) ? 20 : 12;
  for (const std::int64_t start : starts) addEvent(eit, random, start, most);
  if (random.oneIn(2)) eit.__set_first_day(random.number(kDay - 1, kDay + 1));
  return eit;
}

/// As t2dEIT makes it, but of any record.
std::vector<Bytes> uncheckedSections(const EIT& record) {
  const EitTable eit(dvbpsi_eit_new(static_cast<std::uint8_t>(record.table_id), 0x0401, 5, true, 0x0101, 0x20FA, 0,
                                    static_cast<std::uint8_t>(lastTableId(record))));
  for (const EITEvent& event : record.events) {
    auto* const added = dvbpsi_eit_event_add(
        eit.get(), static_cast<std::uint16_t>(event.event_id), static_cast<std::uint64_t>(event.start_time),
        static_cast<std::uint32_t>(event.duration), static_cast<std::uint8_t>(event.running_status),
        event.free_CA_mode, static_cast<std::uint16_t>(wireSize(event.descriptors)));
    EXPECT_TRUE(addDescriptors(added, &dvbpsi_eit_event_descriptor_add, event.descriptors));
  }
  return sectionsOf(*eit, record);
}

int segmentOf(const EITEvent& event, int firstDay) {
  const auto day = static_cast<int>(event.start_time >> 24);
  const auto tens = static_cast<int>(event.start_time >> 20 & 15);
  const auto ones = static_cast<int>(event.start_time >> 16 & 15);
  return (day - firstDay) * 8 + (tens * 10 + ones) / 3;
}

/// What is wrong with the segments of a schedule.
std::string faultInSchedule(const std::vector<Bytes>& sections, int firstDay) {
  for (std::size_t i = 0; i < sections.size(); ++i) {
    const Bytes& section = sections[i];
    const int segment = section[6] / 8;
    const std::string name = "section " + std::to_string(i) + ' ';
    if (const std::string fault = faultIn(section); !fault.empty()) return name + fault;
    const int expected = i == 0                                      ? 0
                         : sections[i - 1][6] == sections[i - 1][12] ? sections[i - 1][6] / 8 * 8 + 8
                                                                     : sections[i - 1][6] + 1;
    if (section[6] != expected) return name + "has number " + std::to_string(section[6]);
    if (section[12] / 8 != segment || section[12] < section[6]) return name + "has no right end of its segment";
    if (section[7] != sections.back()[6]) return name + "has another last number";
    const auto events = eventsIn({section});
    if (events.empty() && section[12] != segment * 8) return name + "is empty in a segment that is not";
    for (const EITEvent& event : events)
      if (segmentOf(event, firstDay) != segment) return name + "holds an event of another segment";
  }
  if (sections.back()[6] != sections.back()[12]) return "the last segment ends early";
  return {};
}

std::string faultInPresentFollowing(const std::vector<Bytes>& sections, bool presentMissing) {
  if (const std::string fault = faultIn(sections); !fault.empty()) return fault;
  if (sections.size() != 2) return std::to_string(sections.size()) + " sections";
  if (presentMissing && !eventsIn({sections[0]}).empty()) return "a present event";
  if (eventsIn({sections[0]}).size() > 1 || eventsIn({sections[1]}).size() > 1) return "more than one event";
  for (const Bytes& section : sections)
    if (section[12] != 1) return "segment ends at section " + std::to_string(section[12]);
  return {};
}

std::string faultInTable(const std::vector<Bytes>& sections, const EIT& record) {
  for (const Bytes& section : sections)
    if (section[13] != lastTableId(record)) return "last_table_id " + std::to_string(section[13]);
  if (record.sectioning == EITSectioning::PACKED) return faultIn(sections);
  if (record.table_id >= 0x50) return faultInSchedule(sections, firstDay(record));
  return faultInPresentFollowing(sections, isPresentMissing(record));
}

struct Seen {
  int accepted = 0;
  int refused = 0;
};

Seen acceptEveryFittingOneOf(EIT (*some)(unsigned)) {
  RecordedLog log;
  Seen seen;
  for (unsigned seed = 0; seed < 4000 && !testing::Test::HasFailure(); ++seed) {
    EIT record = some(seed);
    const auto sections = uncheckedSections(record);
    const EitTable eit(t2dEIT(record));
    const auto errors = log.takeErrors();
    EXPECT_EQ(eit == nullptr, sections.empty()) << "seed " << seed << (errors.empty() ? "" : ", " + errors[0]);
    EXPECT_EQ(errors.size(), sections.empty() ? 1U : 0U);
    ++(sections.empty() ? seen.refused : seen.accepted);
    if (!eit || sections.empty()) continue;
    EXPECT_EQ(sectionsOf(*eit, record), sections);
    EXPECT_EQ(faultInTable(sections, record), "") << "seed " << seed;
    for (EITEvent& event : record.events) event.__isset.starts_section = false;
    EXPECT_EQ(eventsIn(sections), record.events) << "seed " << seed;
  }
  return seen;
}

}  // namespace

TEST(EitLimits, PackedEitIsRefusedExactlyWhenNoSectionsCanHoldIt) {
  const Seen seen = acceptEveryFittingOneOf(somePacked);
  EXPECT_GT(seen.accepted, 400);
  EXPECT_GT(seen.refused, 400);
}

TEST(EitLimits, PresentFollowingIsRefusedExactlyWhenNoSectionsCanHoldIt) {
  const Seen seen = acceptEveryFittingOneOf(somePresentFollowing);
  EXPECT_GT(seen.accepted, 400);
  EXPECT_GT(seen.refused, 400);
}

TEST(EitLimits, ScheduleIsRefusedExactlyWhenNoSectionsCanHoldIt) {
  const Seen seen = acceptEveryFittingOneOf(someSchedule);
  EXPECT_GT(seen.accepted, 400);
  EXPECT_GT(seen.refused, 400);
}
