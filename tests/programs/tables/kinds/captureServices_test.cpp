#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/kinds/eitLayout.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/captures.h"
#include "tests/programs/streams.h"

/// PMT, SDT and EIT out of captures, above all those that do not follow the rules.

namespace vantor::tables {
namespace {

using namespace thrift::dvb_tables;
using namespace vantor::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

using Sections = std::vector<std::string>;

constexpr std::int64_t kDay = 0xE489;

/// A start_time so many hours behind the beginning of the first day.
std::int64_t at(int hours) {
  const std::int64_t hour = hours % 24;
  return (kDay + hours / 24) << 24 | (hour / 10 * 16 + hour % 10) << 16;
}

std::string joined(const Sections& sections) {
  std::string out;
  for (const auto& section : sections) out += section;
  return out;
}

TableSet tablesIn(const Sections& sections) { return readSections(joined(sections)).tables; }

std::string pfSection(unsigned number, unsigned lastNumber, const std::vector<MadeEvent>& events,
                      unsigned version = 3) {
  return makeSection(0x4E, 7, version, number, lastNumber, eitPayload(lastNumber, 0x4E, events));
}

std::string scheduleSection(unsigned number, unsigned lastNumber, unsigned segmentLast,
                            const std::vector<MadeEvent>& events, unsigned tableId = 0x50,
                            unsigned lastTableId = 0x50) {
  return makeSection(tableId, 7, 3, number, lastNumber, eitPayload(segmentLast, lastTableId, events));
}

/// What is imported of the sections must be one EIT of which the library makes the same ones.
void expectSameSections(const Sections& sections, EITSectioning::type sectioning) {
  const TableSet set = readTableSet(writeTableSet(tablesIn(sections)));
  const auto& eits = set.eitPf.empty() ? set.eitSchedule : set.eitPf;
  ASSERT_EQ(eits.size(), 1U);
  EXPECT_EQ(eits[0].sectioning, sectioning);
  EXPECT_EQ(sectionsOf(eits[0]), sections);
}

TEST(CapturedServices, PmtsAreFoundOnThePidsOfThePat) {
  PAT pat = makePat(1, 2);
  const std::string stream = Packer(0x101).apart(sectionsOf(makePmt(1, 4))) +
                             Packer(0x102).apart(sectionsOf(makePmt(2, 5))) + Packer(0).apart(sectionsOf(pat));
  const Capture capture = readTransportStream(stream);
  EXPECT_THAT(capture.tables.pmts, ElementsAre(ProgramMap{0x101, makePmt(1, 4)}, ProgramMap{0x102, makePmt(2, 5)}));
  EXPECT_EQ(capture.imports.at({{0x02, 1, 0, 0}, 0x101}).version, 4);
}

TEST(CapturedServices, PmtsOfAFileOfSectionsGetThePidsOfItsPat) {
  const TableSet set = tablesIn({sectionsOf(makePmt(1, 4))[0], sectionsOf(makePat(1, 2))[0]});
  EXPECT_THAT(set.pmts, ElementsAre(ProgramMap{0x101, makePmt(1, 4)}));
  EXPECT_THAT(tablesIn(sectionsOf(makePmt(1, 4))).pmts, ElementsAre(ProgramMap{std::nullopt, makePmt(1, 4)}));
}

TEST(CapturedServices, APmtThatThePatHasElsewhereIsLeftOut) {
  PAT moved = makePat(2, 1);
  moved.programs[0].pid = 0x200;
  Packer packer(0);
  const std::string stream = packer.apart(sectionsOf(makePat(1, 1))) + packer.apart(sectionsOf(moved)) +
                             Packer(0x101).apart(sectionsOf(makePmt(1, 4)));
  const Capture capture = readTransportStream(stream);
  EXPECT_THAT(capture.tables.pmts, IsEmpty());
  EXPECT_EQ(capture.imports.count({{0x02, 1, 0, 0}, 0x101}), 0U);
  EXPECT_THAT(capture.leftOut, ElementsAre("PMT 1 left out: 0x0101 is not the PID 0x0200 that the PAT gives it"));
}

TEST(CapturedServices, SdtOthersAreToldApartByStreamAndNetwork) {
  SDT foreign = makeSdt(5, 3, 2);
  foreign.original_network_id = 0x1000;
  Sections sections = sectionsOf(makeSdt(5, 1, 20), 0x46);
  ASSERT_GT(sections.size(), 1U);
  sections.insert(sections.begin() + 1, sectionsOf(foreign, 0x46)[0]);
  sections.push_back(sectionsOf(makeSdt(6, 2, 1), 0x46)[0]);
  sections.push_back(sectionsOf(makeSdt(4, 2, 1), 0x42)[0]);
  const TableSet set = tablesIn(sections);
  EXPECT_THAT(set.sdtOthers, ElementsAre(foreign, makeSdt(5, 1, 20), makeSdt(6, 2, 1)));
  EXPECT_EQ(set.sdtActual, makeSdt(4, 2, 1));
}

TEST(CapturedServices, AnSdtDividedOtherwiseThanAsItFitsIsDividedLikeThatAgain) {
  SDT sdt = makeSdt(5, 1, 12);
  for (const std::size_t first : {1U, 5U}) sdt.services[first].__set_starts_section(true);
  const Sections sections = sectionsOf(sdt, 0x46);
  ASSERT_EQ(sections.size(), 3U);
  const TableSet set = tablesIn(sections);
  EXPECT_THAT(set.sdtOthers, ElementsAre(sdt));
  EXPECT_EQ(sectionsOf(readTableSet(writeTableSet(set)).sdtOthers.at(0), 0x46), sections);
}

TEST(CapturedServices, AnSdtDividedAsItFitsHasNoMarks) {
  const TableSet set = tablesIn(sectionsOf(makeSdt(5, 1, 40), 0x46));
  for (const auto& service : set.sdtOthers.at(0).services) EXPECT_FALSE(service.__isset.starts_section);
}

TEST(CapturedServices, PresentAndFollowingComeBackAsTheyWere) {
  expectSameSections({pfSection(0, 1, {{1, at(1)}}), pfSection(1, 1, {{2, at(2)}})}, EITSectioning::STANDARD);
  expectSameSections({pfSection(0, 1, {{1, at(1)}}), pfSection(1, 1, {})}, EITSectioning::STANDARD);
  expectSameSections({pfSection(0, 1, {}), pfSection(1, 1, {{2, at(2)}})}, EITSectioning::STANDARD);
  expectSameSections({pfSection(0, 1, {}), pfSection(1, 1, {})}, EITSectioning::STANDARD);
}

TEST(CapturedServices, ASingleSectionOfPresentFollowingComesBackAsItWas) {
  expectSameSections({pfSection(0, 0, {{1, at(1)}})}, EITSectioning::PACKED);
  expectSameSections({pfSection(0, 0, {{1, 0xFFFFFFFFFF}, {2, 0xFFFFFFFFFF}})}, EITSectioning::PACKED);
  expectSameSections({pfSection(0, 0, {})}, EITSectioning::PACKED);
}

TEST(CapturedServices, PresentFollowingOfManySectionsKeepsTheirContents) {
  const TableSet set = tablesIn({pfSection(0, 2, {{1, at(1)}, {2, at(1)}}), pfSection(1, 2, {{3, at(1)}}),
                                 pfSection(2, 2, {{4, at(1)}, {5, at(1)}})});
  ASSERT_EQ(set.eitPf.size(), 1U);
  EXPECT_EQ(set.eitPf[0].sectioning, EITSectioning::PACKED);
  std::vector<bool> starts;
  for (const auto& event : set.eitPf[0].events) starts.push_back(event.__isset.starts_section);
  EXPECT_THAT(starts, ElementsAre(false, false, true, true, false));
}

TEST(CapturedServices, OneSectionOfPresentFollowingIsBetterThanNone) {
  const Capture following = readSections(pfSection(1, 1, {{2, at(2)}}));
  EXPECT_FALSE(following.imports.begin()->second.whole);
  ASSERT_EQ(following.tables.eitPf.size(), 1U);
  EXPECT_TRUE(following.tables.eitPf[0].present_missing);
  EXPECT_THAT(sectionsOf(following.tables.eitPf[0]),
              ElementsAre(pfSection(0, 1, {}), pfSection(1, 1, {{2, at(2)}})));
  const Capture present = readSections(pfSection(0, 1, {{1, at(1)}}));
  EXPECT_THAT(sectionsOf(present.tables.eitPf.at(0)),
              ElementsAre(pfSection(0, 1, {{1, at(1)}}), pfSection(1, 1, {})));
}

TEST(CapturedServices, AWholeVersionIsPreferredToALaterOneInPart) {
  const Capture capture = readSections(pfSection(0, 1, {{1, at(1)}}) + pfSection(1, 1, {{2, at(2)}}) +
                                       pfSection(1, 1, {{3, at(3)}}, 4));
  EXPECT_EQ(capture.tables.eitPf.at(0).version_number, 3);
  EXPECT_TRUE(capture.imports.begin()->second.whole);
}

TEST(CapturedServices, TheLatestOfTwoContentsUnderOneVersionIsTaken) {
  const Capture capture =
      readSections(pfSection(0, 1, {{1, at(1)}}) + pfSection(1, 1, {{2, at(2)}}) + pfSection(0, 1, {{9, at(1)}}));
  EXPECT_THAT(sectionsOf(capture.tables.eitPf.at(0)),
              ElementsAre(pfSection(0, 1, {{9, at(1)}}), pfSection(1, 1, {{2, at(2)}})));
  EXPECT_EQ(capture.imports.begin()->second.rewrites, 1U);
}

TEST(CapturedServices, EitsAreToldApartByServiceStreamAndNetwork) {
  std::string file;
  for (const unsigned number : {0U, 1U})
    for (const unsigned service : {7U, 8U})
      for (const auto& [stream, network] :
           {std::pair('\4', '\x20'), std::pair('\5', '\x20'), std::pair('\4', '\x21')}) {
        std::string payload = eitPayload(1, 0x4F, {{1, at(1)}});
        payload[1] = stream;
        payload[2] = network;
        file += makeSection(0x4F, service, 1, number, 1, payload);
      }
  const Capture capture = readSections(file);
  ASSERT_EQ(capture.tables.eitPf.size(), 6U);
  for (const auto& eit : capture.tables.eitPf) EXPECT_EQ(eit.events.size(), 2U);
  for (const auto& entry : capture.imports) EXPECT_TRUE(entry.second.whole);
}

TEST(CapturedServices, AScheduleComesBackWithItsSectionNumbers) {
  const Sections sections{scheduleSection(0, 25, 0, {}),
                          scheduleSection(8, 25, 9, {{1, at(3), 250}, {2, at(4), 250}}),
                          scheduleSection(9, 25, 9, {{3, at(5), 250}}),
                          scheduleSection(16, 25, 16, {}),
                          scheduleSection(24, 25, 25, {{4, at(9)}}),
                          scheduleSection(25, 25, 25, {{5, at(9)}, {6, at(11)}})};
  expectSameSections(sections, EITSectioning::STANDARD);
  const TableSet set = tablesIn(sections);
  std::vector<bool> starts;
  for (const auto& event : set.eitSchedule.at(0).events) starts.push_back(event.__isset.starts_section);
  EXPECT_THAT(starts, ElementsAre(false, false, true, false, true, false));
  Sections reversed(sections.rbegin(), sections.rend());
  EXPECT_EQ(sectionsOf(tablesIn(reversed).eitSchedule.at(0)), sections);
}

TEST(CapturedServices, AScheduleThatBeginsWithAnEmptyDayKeepsItsSegments) {
  Sections sections;
  for (unsigned segment = 0; segment < 8; ++segment)
    sections.push_back(scheduleSection(8 * segment, 64, 8 * segment, {}));
  sections.push_back(scheduleSection(64, 64, 64, {{1, at(25)}}));
  expectSameSections(sections, EITSectioning::STANDARD);
}

TEST(CapturedServices, AScheduleOfSeveralTablesIsOneInJson) {
  const Sections sections{scheduleSection(0, 0, 0, {{1, at(0)}}, 0x50, 0x51),
                          scheduleSection(0, 0, 0, {{2, at(97)}}, 0x51, 0x51)};
  const TableSet set = tablesIn(sections);
  const std::string json = writeTableSet(set);
  EXPECT_EQ(json.find("table_id"), std::string::npos);
  EXPECT_EQ(json.find("service_id"), json.rfind("service_id"));
  const TableSet back = readTableSet(json);
  ASSERT_EQ(back.eitSchedule.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) EXPECT_THAT(sectionsOf(back.eitSchedule[i]), ElementsAre(sections[i]));
}

TEST(CapturedServices, ATableOfAScheduleWithoutTheOthersKeepsItsPlace) {
  const Sections sections{scheduleSection(0, 0, 0, {{2, at(97)}}, 0x51, 0x53)};
  const TableSet set = tablesIn(sections);
  EXPECT_NE(writeTableSet(set).find("\"table_id\": 81"), std::string::npos);
  expectSameSections(sections, EITSectioning::STANDARD);
}

TEST(CapturedServices, EventsOutsideTheirSegmentsArePacked) {
  const Sections sections{scheduleSection(0, 1, 1, {{1, at(1)}, {2, at(5)}}),
                          scheduleSection(1, 1, 1, {{3, at(3)}})};
  const TableSet set = readTableSet(writeTableSet(tablesIn(sections)));
  ASSERT_EQ(set.eitSchedule.size(), 1U);
  EXPECT_EQ(set.eitSchedule[0].sectioning, EITSectioning::PACKED);
  EXPECT_EQ(sectionsOf(set.eitSchedule[0]), sections);
}

TEST(CapturedServices, TheSegmentOfPackedSectionsEndsWithTheLastOfThem) {
  const auto sectionsWith = [](unsigned segmentLast) {
    return Sections{scheduleSection(0, 1, segmentLast, {{1, 0xFFFFFFFFFF}}),
                    scheduleSection(1, 1, segmentLast, {{2, 0xFFFFFFFFFF}})};
  };
  const TableSet set = readTableSet(writeTableSet(tablesIn(sectionsWith(0))));
  ASSERT_EQ(set.eitSchedule.size(), 1U);
  EXPECT_EQ(sectionsOf(set.eitSchedule[0]), sectionsWith(1));
}

TEST(CapturedServices, AnEventAtNoTimeIsPacked) {
  expectSameSections({scheduleSection(0, 0, 0, {{1, 0xFFFFFFFFFF}, {2, at(1)}})}, EITSectioning::PACKED);
}

TEST(CapturedServices, AScheduleIsWholeWhenEachSegmentIs) {
  const Sections sections{scheduleSection(0, 17, 0, {{1, at(0)}}), scheduleSection(8, 17, 9, {{2, at(3)}}),
                          scheduleSection(9, 17, 9, {{3, at(3)}}), scheduleSection(16, 17, 17, {{4, at(6)}}),
                          scheduleSection(17, 17, 17, {{5, at(6)}})};
  const auto isWhole = [](const Sections& seen) {
    return readSections(joined(seen)).imports.begin()->second.whole;
  };
  EXPECT_TRUE(isWhole(sections));
  for (std::size_t missing = 0; missing < sections.size(); ++missing) {
    Sections some = sections;
    some.erase(some.begin() + static_cast<std::ptrdiff_t>(missing));
    EXPECT_FALSE(isWhole(some)) << missing;
  }
}

TEST(CapturedServices, AScheduleNumberedWithoutSegmentsIsWholeWithAllItsNumbers) {
  Sections sections;
  for (unsigned number = 0; number <= 9; ++number)
    sections.push_back(scheduleSection(number, 9, 0, {{static_cast<int>(number), at(static_cast<int>(number))}}));
  EXPECT_TRUE(readSections(joined(sections)).imports.begin()->second.whole);
  sections.erase(sections.begin() + 3);
  EXPECT_FALSE(readSections(joined(sections)).imports.begin()->second.whole);
}

/// The longest section there is has two bytes more than libdvbpsi fills.
TEST(CapturedServices, ATableThatCannotBeSentIsLeftOutWithTheReason) {
  constexpr std::size_t kLoopSize = 4096 - 12 - 6 - 12;
  std::string payload = eitPayload(0, 0x4E, {{1, at(0), 0}});
  std::string loop;
  while (loop.size() < kLoopSize) {
    const std::size_t size = std::min<std::size_t>(kLoopSize - loop.size() - 2, 200);
    loop += std::string{'\x80', static_cast<char>(size)} + std::string(size, 'x');
  }
  payload.replace(16, std::string::npos, std::string{'\x0F', '\xE2'} + loop);
  const std::string section = makeSection(0x4E, 7, 3, 0, 0, payload);
  ASSERT_EQ(section.size(), 4096U);
  const Capture capture = readSections(section + section);
  EXPECT_THAT(capture.tables.eitPf, IsEmpty());
  EXPECT_THAT(capture.unfinished, IsEmpty());
  EXPECT_THAT(capture.leftOut, ElementsAre("EIT p/f actual 7 left out: /events/0/descriptors: 4066 bytes "
                                           "do not fit in a section"));
}

TEST(CapturedServices, SectionsWhoseContentsDoNotAddUpAreCounted) {
  using namespace std::string_literals;
  const std::string streams = "\xE1\x00\xF0\x00"s;
  const std::pair<const char*, std::string> cases[] = {
      {"PMT: too short", makeSection(0x02, 1, 0, 0, 0, "\xE1\x00\xF0"s)},
      {"PMT: a loop beyond the end", makeSection(0x02, 1, 0, 0, 0, "\xE1\x00\xF0\x01"s)},
      {"PMT: a descriptor beyond its loop", makeSection(0x02, 1, 0, 0, 0, "\xE1\x00\xF0\x02\x09\x01"s)},
      {"PMT: part of a stream", makeSection(0x02, 1, 0, 0, 0, streams + "\x1B\xE1\x01\xF0"s)},
      {"PMT: a stream's loop beyond the end", makeSection(0x02, 1, 0, 0, 0, streams + "\x1B\xE1\x01\xF0\x01"s)},
      {"PMT: program 0", makeSection(0x02, 0, 0, 0, 0, streams)},
      {"PMT: two sections", makeSection(0x02, 1, 0, 0, 1, streams)},
      {"PMT: too long", makeSection(0x02, 1, 0, 0, 0, "\xE1\x00\xF4\x00"s + std::string(1024, '\0'))},
      {"SDT actual: too short", makeSection(0x42, 1, 0, 0, 0, "\x20\xFA"s)},
      {"SDT other: too short", makeSection(0x46, 1, 0, 0, 0, "\x20\xFA"s)},
      {"SDT: part of a service", makeSection(0x46, 1, 0, 0, 0, "\x20\xFA\xFF\x00\x01\xFC\x80"s)},
      {"SDT: a loop beyond the end", makeSection(0x46, 1, 0, 0, 0, "\x20\xFA\xFF\x00\x01\xFC\x80\x01"s)},
      {"EIT: too short", makeSection(0x4E, 1, 0, 0, 0, "\0\4\x20\xFA\0"s)},
      {"EIT: part of an event", makeSection(0x50, 1, 0, 0, 0, eitPayload(0, 0x50, {}) + std::string(11, '\0'))},
      {"EIT: a loop beyond the end",
       makeSection(0x4F, 1, 0, 0, 0, eitPayload(0, 0x4F, {}) + std::string(11, '\0') + "\x01")},
  };
  for (const auto& [what, section] : cases) {
    const Capture capture = readSections(section);
    EXPECT_TRUE(capture.imports.empty()) << what;
    EXPECT_THAT(capture.faults, ElementsAre(Pair(Pair(Capture::kNoPid, SectionFault::content), 1U))) << what;
  }
}

}  // namespace
}  // namespace vantor::tables
