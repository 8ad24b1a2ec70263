#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "interface/converters/t2dSections.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/checks/refuses.h"
#include "tests/servicemux/front/wholeSections.h"

using namespace vantor::thrift::dvb_tables;

namespace {

using testing::ElementsAre;
using testing::Field;

/// Two sections of a BAT.
Sections bat() { return makeSections(0x11, 0x4A, 500, 3, 2); }

template <typename Set>
std::optional<vantor::Refusal> withChanged(Set set) {
  Sections record = bat();
  set(record);
  return check(record);
}

std::optional<vantor::Refusal> ofOnly(const std::string& section) {
  return withChanged([&](Sections& r) { r.sections = {section}; });
}

std::string bitFlipped(std::string bytes, std::size_t at) {
  bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
  return bytes;
}

/// A TOT without descriptors, with the CRC_32 that its bytes have as those of a longer section would.
const std::string kTot("\x73\x70\x0B\xEE\x71\x12\x00\x00\xF0\x00\x00\x00\x00\x00", 14);

using Chain = std::unique_ptr<dvbpsi_psi_section_t, decltype(&dvbpsi_DeletePSISections)>;

}  // namespace

TEST(WholeSectionsCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(bat()), passes());
  EXPECT_THAT(withChanged([](Sections& r) { r.pid = -1; }), refuses("/pid", "-1", "is negative"));
  EXPECT_THAT(withChanged([](Sections& r) { r.pid = 0x1FFF; }), refuses("/pid", "8191", "is above 0x1FFE"));
  EXPECT_THAT(withChanged([](Sections& r) { r.period = 24; }), refuses("/period", "24 ms", "is below 25 ms"));
  EXPECT_THAT(withChanged([](Sections& r) { r.period = 3600001; }),
              refuses("/period", "3600001 ms", "is above 3600000 ms"));
  EXPECT_THAT(withChanged([](Sections& r) { r.name = "a\nb"; }), refuses("/name", "", "has a control character"));
  EXPECT_THAT(withChanged([](Sections& r) { r.sections.clear(); }), refuses("/sections", "", "is empty"));
  EXPECT_THAT(withChanged([](Sections& r) { r.sections.resize(257, r.sections[0]); }),
              refuses("/sections", "", "needs 257 sections, more than 256"));
}

TEST(WholeSectionsCheck, TakesAnyPidButThatOfNullPackets) {
  for (const int pid : {0, 2, 4, 0x0F, 0x16, 0x1FFB, 0x1FFE})
    EXPECT_THAT(withChanged([=](Sections& r) { r.pid = pid; }), passes()) << pid;
}

TEST(WholeSectionsCheck, TakesPeriodsToTheLimits) {
  for (const int period : {25, 3600000})
    EXPECT_THAT(withChanged([=](Sections& r) { r.period = period; }), passes()) << period;
}

TEST(WholeSectionsCheck, AsksForTheLengthThatTheSectionSays) {
  const std::string section = bat().sections[1];
  EXPECT_THAT(withChanged([&](Sections& r) { r.sections[1] = section + "x"; }),
              refuses("/sections/1", "33 bytes", "are there, and section_length asks for 32"));
  EXPECT_THAT(withChanged([&](Sections& r) { r.sections[1] = section.substr(0, 31); }),
              refuses("/sections/1", "31 bytes", "are there, and section_length asks for 32"));
  EXPECT_THAT(ofOnly("\x4A\xF0"), refuses("/sections/0", "2 bytes", "are no whole section"));
  EXPECT_THAT(ofOnly(""), refuses("/sections/0", "0 bytes", "are no whole section"));
}

TEST(WholeSectionsCheck, AsksForRoomForTheLongHeader) {
  std::string section = makeShortSection(0x4A, std::string(8, '\0'));
  section[1] = static_cast<char>(0xF0);
  EXPECT_THAT(ofOnly(section), refuses("/sections/0", "11 bytes", "are less than 12"));
  EXPECT_THAT(ofOnly(makeShortSection(0x73, std::string(10, '\0'))),
              refuses("/sections/0", "13 bytes", "are less than 14"));
}

TEST(WholeSectionsCheck, TakesTheLongestSectionAndNoLongerOne) {
  EXPECT_THAT(ofOnly(makeWholeSection(0x90, 1, 0, 0, 0, 4084)), passes());
  EXPECT_THAT(ofOnly(makeWholeSection(0x90, 1, 0, 0, 0, 4085)),
              refuses("/sections/0", "4097 bytes", "are more than 4096"));
}

TEST(WholeSectionsCheck, AsksForTheRightCrc) {
  for (const std::size_t at : {9U, 31U})
    EXPECT_THAT(withChanged([=](Sections& r) { r.sections[1] = bitFlipped(r.sections[1], at); }),
                refuses("/sections/1", "", "has a wrong CRC_32"))
        << at;
  EXPECT_THAT(ofOnly(kTot), refuses("/sections/0", "", "has a wrong CRC_32"));
}

TEST(WholeSectionsCheck, SectionsWithoutTheSyntaxHaveNoCrc) {
  for (const int table_id : {0x70, 0x71, 0x72, 0x7E, 0x82, 0xFC})
    EXPECT_THAT(ofOnly(makeShortSection(table_id, "12345")), passes()) << table_id;
  EXPECT_THAT(ofOnly(makeShortSection(0x7E, "")), passes());
}

TEST(WholeSectionsCheck, AllAreOfOneTable) {
  EXPECT_THAT(withChanged([](Sections& r) { r.sections[1] = makeWholeSection(0x41, 500, 3); }),
              refuses("/sections/1", "", "has table_id 0x41, the first section 0x4A"));
  EXPECT_THAT(withChanged([](Sections& r) { r.sections[1] = makeWholeSection(0x4A, 501, 3); }),
              refuses("/sections/1", "", "has table_id_extension 501, the first section 500"));
}

TEST(WholeSectionsKey, IsWithoutExtensionWhereTheSectionHasNone) {
  EXPECT_EQ(tableKeyOf(bat()).table_id, 0x4A);
  EXPECT_EQ(tableKeyOf(bat()).extension, 500);
  Sections rst;
  rst.sections = {makeShortSection(0x71, "\x12\x34\x56")};
  EXPECT_EQ(tableKeyOf(rst).table_id, 0x71);
  EXPECT_EQ(tableKeyOf(rst).extension, 0);
}

TEST(T2dSections, KeepsEveryByte) {
  Sections record = bat();
  record.sections.push_back(record.sections[0]);
  const Chain chain(t2dSections(record), &dvbpsi_DeletePSISections);
  const auto* section = chain.get();
  for (const std::string& bytes : record.sections) {
    ASSERT_NE(section, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(section->p_data), bytes.size()), bytes);
    EXPECT_TRUE(section->b_syntax_indicator);
    EXPECT_EQ(section->p_payload_end, section->p_data + bytes.size() - 4);
    section = section->p_next;
  }
  EXPECT_EQ(section, nullptr);
}

TEST(T2dSections, AShortSectionEndsWithItsPayload) {
  Sections record;
  record.sections = {makeShortSection(0x71, "123")};
  const Chain chain(t2dSections(record), &dvbpsi_DeletePSISections);
  ASSERT_NE(chain, nullptr);
  EXPECT_FALSE(chain->b_syntax_indicator);
  EXPECT_EQ(chain->p_payload_end, chain->p_data + 6);
}

TEST(T2dSections, RefusesWithALineInTheLog) {
  RecordedLog log;
  Sections record = bat();
  record.sections[1].back() ^= 1;
  EXPECT_EQ(t2dSections(record), nullptr);
  EXPECT_THAT(log.take(), ElementsAre(::testing::Field(&RecordedLog::Message::text,
                                                       "Sections: sections[1]: has a wrong CRC_32")));
}
