#include <gmock/gmock.h>

#include <random>

#include "tests/servicemux/sections/decoded.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vantor::EITLayout;

constexpr int kDay = 60000;  // MJD

struct EitDeleter {
  void operator()(dvbpsi_eit_t* eit) const { dvbpsi_eit_delete(eit); }
};
using Eit = std::unique_ptr<dvbpsi_eit_t, EitDeleter>;

struct Event {
  int hour;  // since 00:00 of kDay
  std::vector<int> descriptors = {30};
};

std::uint64_t startTime(int hour) {
  const int day = kDay + (hour < 0 ? -1 : hour / 24);
  const int rest = (hour + 24) % 24;
  return static_cast<std::uint64_t>(day) << 24 | static_cast<std::uint64_t>(rest / 10 * 16 + rest % 10) << 16;
}

/// An EIT whose events are numbered from 0.
Eit makeEit(const std::vector<Event>& events, unsigned char tableId = 0x50) {
  Eit eit(dvbpsi_eit_new(tableId, 0x0401, 3, true, 4, 0x20FA, 0, tableId));
  std::uint8_t data[255];
  std::fill(std::begin(data), std::end(data), std::uint8_t{0xCD});
  std::uint16_t id = 0;
  for (const Event& event : events) {
    std::size_t loop = 0;
    for (const int size : event.descriptors) loop += 2 + static_cast<std::size_t>(size);
    auto* const added = dvbpsi_eit_event_add(eit.get(), id++, startTime(event.hour), 0x010000, 1, false,
                                             static_cast<std::uint16_t>(loop));
    for (const int size : event.descriptors)
      dvbpsi_eit_event_descriptor_add(added, 0x4D, static_cast<std::uint8_t>(size), data);
  }
  return eit;
}

EITLayout standard() {
  EITLayout layout;
  layout.standard = true;
  layout.firstDay = kDay;
  return layout;
}

std::vector<Decoded> sectionsOf(const Eit& eit, const EITLayout& layout = standard()) {
  return decode(vantor::generateSections(*eit, layout), kEitShape);
}

std::vector<Bytes> generatedByLibdvbpsi(const Eit& eit) {
  return ::generatedByLibdvbpsi(
      [&](dvbpsi_t* handle) { return dvbpsi_eit_sections_generate(handle, eit.get(), eit->i_table_id); });
}

EITLayout packed() { return {}; }

bool isRefused(const Eit& eit, const EITLayout& layout = standard()) {
  return vantor::generateSections(*eit, layout) == nullptr;
}

const std::vector<int> kHalfASection(7, 255);  // 1799 bytes and the event's own 12
const std::vector<int> kFullSection = {255, 255, 255, 255, 255, 255, 255, 255,
                                       255, 255, 255, 255, 255, 255, 255, 207};

}  // namespace

TEST(EitSections, PackedEventsFollowOneAnother) {
  const auto sections =
      sectionsOf(makeEit({{0}, {20}, {1, kHalfASection}, {2, kHalfASection}, {3, kHalfASection}}), packed());
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(sections[0].ids(), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(sections[1].ids(), ElementsAre(4));
  for (unsigned i = 0; i < 2; ++i) {
    EXPECT_EQ(sections[i].number, i);
    EXPECT_EQ(sections[i].lastNumber, 1U);
    EXPECT_EQ(sections[i].segmentLast, 1U) << "the last section that a receiver looks for";
    EXPECT_EQ(sections[i].lastTableId, 0x50U);
  }
}

TEST(EitSections, PackedEventsThatBeginASectionAreInTheSameSegment) {
  EITLayout layout = packed();
  layout.starts = {false, true, true};
  const auto sections = sectionsOf(makeEit({{0}, {1}, {2}}), layout);
  ASSERT_THAT(sections, SizeIs(3));
  for (const Decoded& section : sections) EXPECT_EQ(section.segmentLast, 2U);
}

TEST(EitSections, PackedSegmentEndsAtTheLastOf256Sections) {
  const auto sections = sectionsOf(makeEit(std::vector<Event>(256, {0, kFullSection})), packed());
  ASSERT_THAT(sections, SizeIs(256));
  EXPECT_EQ(sections.front().segmentLast, 255U);
  EXPECT_EQ(sections.back().segmentLast, 255U);
}

TEST(EitSections, PackedTableIsAsLibdvbpsiMakesIt) {
  std::mt19937 random(11);
  const auto number = [&random](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
  std::size_t most = 0;
  for (int round = 0; round < 300; ++round) {
    std::vector<Event> events(static_cast<std::size_t>(number(0, 60)));
    const int longest = number(1, 15);
    for (Event& event : events) {
      event.hour = number(0, 95);
      // An event without descriptors is what libdvbpsi writes behind its buffer when there is no room for it.
      event.descriptors.resize(static_cast<std::size_t>(number(1, longest)));
      for (int& size : event.descriptors) size = number(0, 255);
    }
    const Eit eit = makeEit(events);
    const auto sections = bytesOf(vantor::generateSections(*eit, packed()));
    ASSERT_EQ(sections, generatedByLibdvbpsi(eit)) << "round " << round;
    most = std::max(most, sections.size());
  }
  EXPECT_GT(most, 10U);
}

TEST(EitSections, PackedSectionThatIsFullToTheLastByteIsAsLibdvbpsiMakesIt) {
  const Eit eit = makeEit(std::vector<Event>(3, {0, kFullSection}));
  const auto sections = bytesOf(vantor::generateSections(*eit, packed()));
  ASSERT_THAT(sections, SizeIs(3));
  EXPECT_THAT(sections[0], SizeIs(4094));
  EXPECT_EQ(sections, generatedByLibdvbpsi(eit));
}

TEST(EitSections, PresentAndFollowingHaveASectionEach) {
  const auto sections = sectionsOf(makeEit({{0}, {1}}, 0x4E));
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(sections[0].ids(), ElementsAre(0));
  EXPECT_THAT(sections[1].ids(), ElementsAre(1));
  for (const Decoded& section : sections) {
    EXPECT_EQ(section.tableId, 0x4EU);
    EXPECT_EQ(section.lastNumber, 1U);
    EXPECT_EQ(section.segmentLast, 1U);
    EXPECT_EQ(section.lastTableId, 0x4EU);
  }
}

TEST(EitSections, MissingEventLeavesItsSectionEmpty) {
  const auto present = sectionsOf(makeEit({{0}}, 0x4E));
  ASSERT_THAT(present, SizeIs(2));
  EXPECT_THAT(present[0].ids(), ElementsAre(0));
  EXPECT_THAT(present[1].items, IsEmpty());

  EITLayout layout = standard();
  layout.presentMissing = true;
  const auto following = sectionsOf(makeEit({{0}}, 0x4E), layout);
  ASSERT_THAT(following, SizeIs(2));
  EXPECT_THAT(following[0].items, IsEmpty());
  EXPECT_THAT(following[1].ids(), ElementsAre(0));

  const auto none = sectionsOf(makeEit({}, 0x4F));
  ASSERT_THAT(none, SizeIs(2));
  EXPECT_EQ(none[1].number, 1U);
}

TEST(EitSections, PresentAndFollowingAreOneEventEach) {
  EXPECT_TRUE(isRefused(makeEit({{0}, {1}, {2}}, 0x4E)));
  EITLayout layout = standard();
  layout.presentMissing = true;
  EXPECT_TRUE(isRefused(makeEit({{0}, {1}}, 0x4E), layout));
}

TEST(EitSections, ScheduleHasSegmentsOfThreeHoursAndEightSectionNumbers) {
  // Segments 0, 2 (two sections) and 9; 1 and 3 to 8 are empty.
  const auto sections =
      sectionsOf(makeEit({{0}, {2}, {6, kHalfASection}, {7, kHalfASection}, {8, kHalfASection}, {24 + 5}}));
  std::vector<unsigned> numbers;
  std::vector<unsigned> segmentLasts;
  for (const Decoded& section : sections) {
    numbers.push_back(section.number);
    segmentLasts.push_back(section.segmentLast);
    EXPECT_EQ(section.lastNumber, 72U);
    EXPECT_EQ(section.lastTableId, 0x50U);
  }
  EXPECT_THAT(numbers, ElementsAre(0, 8, 16, 17, 24, 32, 40, 48, 56, 64, 72));
  EXPECT_THAT(segmentLasts, ElementsAre(0, 8, 17, 17, 24, 32, 40, 48, 56, 64, 72));
  EXPECT_THAT(sections[0].ids(), ElementsAre(0, 1));
  EXPECT_THAT(sections[1].items, IsEmpty());
  EXPECT_THAT(sections[2].ids(), ElementsAre(2, 3));
  EXPECT_THAT(sections[3].ids(), ElementsAre(4));
  EXPECT_THAT(sections[10].ids(), ElementsAre(5));
}

TEST(EitSections, LastSegmentEndsFourDaysAfterTheFirstDay) {
  const auto sections = sectionsOf(makeEit({{95}}));
  ASSERT_THAT(sections, SizeIs(32));
  EXPECT_EQ(sections.back().number, 248U);
  EXPECT_THAT(sections.back().ids(), ElementsAre(0));
  EXPECT_TRUE(isRefused(makeEit({{96}})));
}

TEST(EitSections, EventsBeforeTheFirstDayOrOutOfOrderAreRefused) {
  EXPECT_TRUE(isRefused(makeEit({{-1}})));
  EXPECT_TRUE(isRefused(makeEit({{9}, {2}})));
}

TEST(EitSections, ScheduleRefusesTimesThatAreNone) {
  const Eit eit = makeEit({{0}});
  eit->p_first_event->i_start_time = 0xFFFFFFFFFF;
  EXPECT_TRUE(isRefused(eit));
  for (const std::uint64_t hour : {0x24U, 0x1AU, 0x0FU}) {
    eit->p_first_event->i_start_time = startTime(0) | hour << 16;
    EXPECT_TRUE(isRefused(eit)) << std::hex << hour;
  }
}

TEST(EitSections, SegmentHoldsEightSectionsAtMost) {
  const Event full{0, kFullSection};
  EXPECT_EQ(sectionsOf(makeEit({full})).at(0).size, 4094U);
  EXPECT_EQ(sectionsOf(makeEit(std::vector<Event>(8, full))).back().number, 7U);
  EXPECT_TRUE(isRefused(makeEit(std::vector<Event>(9, full))));
}

TEST(EitSections, EventThatFitsNoSectionIsRefused) {
  Event tooLong{0, kFullSection};
  ++tooLong.descriptors.back();
  EXPECT_TRUE(isRefused(makeEit({tooLong})));
  EXPECT_TRUE(isRefused(makeEit({tooLong}), packed()));
}

TEST(EitSections, EventCanBeginASectionThoughThereIsRoom) {
  EITLayout layout = standard();
  layout.starts = {false, true, false};
  const auto sections = sectionsOf(makeEit({{0}, {1}, {2}}), layout);
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(sections[0].ids(), ElementsAre(0));
  EXPECT_THAT(sections[1].ids(), ElementsAre(1, 2));
  EXPECT_EQ(sections[0].segmentLast, 1U);
}

TEST(EitSections, ScheduleWithoutEventsIsOneEmptySection) {
  const auto sections = sectionsOf(makeEit({}));
  ASSERT_THAT(sections, SizeIs(1));
  EXPECT_THAT(sections[0].items, IsEmpty());
}
