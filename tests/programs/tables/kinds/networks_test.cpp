#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/nitForm.h"
#include "programs/tables/sets/Capture.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/streams.h"

/// NIT actual, NIT other and BAT: what is read from their sections gives the same sections again, or they stay
/// whole.

namespace vantor::tables::networks_test {
namespace {

using namespace thrift::dvb_tables;
using namespace vantor::testing;
using namespace std::string_literals;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string errorOf(const std::string& text) {
  try {
    readTableSet(text);
  } catch (const InputError& error) {
    return error.what();
  }
  return "accepted";
}

std::string loop(const std::string& bytes) {
  return std::string{static_cast<char>(0xF0 | bytes.size() >> 8), static_cast<char>(bytes.size())} + bytes;
}

std::string descriptor(int tag, const std::string& data) {
  return std::string{static_cast<char>(tag), static_cast<char>(data.size())} + data;
}

std::string stream(int id, std::size_t size = 10) {
  return std::string{'\0', static_cast<char>(id), '\x20', '\x85'} + loop(descriptor(0x41, std::string(size, 's')));
}

std::string section(unsigned tableId, unsigned number, unsigned last, const std::string& descriptors,
                    const std::string& streams, unsigned extension = 500) {
  return makeSection(tableId, extension, 3, number, last, loop(descriptors) + loop(streams));
}

const std::string kName = descriptor(0x47, "Family");

struct Layout {
  const char* name;
  std::vector<std::string> (*sections)(unsigned tableId);
};

/// Those that a readable table can have.
const Layout kReadable[] = {
    {"one section", [](unsigned id) { return std::vector{section(id, 0, 0, kName, stream(1) + stream(2))}; }},
    {"nothing in it", [](unsigned id) { return std::vector{section(id, 0, 0, "", "")}; }},
    {"descriptors in each section",
     [](unsigned id) {
       return std::vector{section(id, 0, 2, kName, stream(1) + stream(2)), section(id, 1, 2, kName, stream(3)),
                          section(id, 2, 2, kName, stream(4) + stream(5))};
     }},
    {"descriptors in the first one",
     [](unsigned id) {
       return std::vector{section(id, 0, 1, kName, stream(1)), section(id, 1, 1, "", stream(2) + stream(3))};
     }},
    {"no descriptors",
     [](unsigned id) {
       return std::vector{section(id, 0, 1, "", stream(1)), section(id, 1, 1, "", stream(2))};
     }},
    {"sections as full as can be",
     [](unsigned id) {
       // Of 1008 bytes the name leaves 1000.
       return std::vector{
           section(id, 0, 1, kName, stream(1, 242) + stream(2, 242) + stream(3, 242) + stream(4, 242)),
           section(id, 1, 1, "", stream(5))};
     }},
    {"only descriptors in the first one",
     [](unsigned id) {
       return std::vector{section(id, 0, 1, kName, ""), section(id, 1, 1, "", stream(1))};
     }},
};

/// Those that would get lost.
const Layout kOther[] = {
    {"not laid out so", [](unsigned id) { return std::vector{makeSection(id, 500, 3, 0, 0, "anything")}; }},
    {"a reserved bit",
     [](unsigned id) {
       std::string bytes = section(id, 0, 0, kName, stream(1));
       bytes[8] = static_cast<char>(bytes[8] & 0x7F);
       return std::vector{withCrc(bytes)};
     }},
    {"bytes behind the loops",
     [](unsigned id) { return std::vector{makeSection(id, 500, 3, 0, 0, loop(kName) + loop(stream(1)) + "x")}; }},
    {"other descriptors in the second section",
     [](unsigned id) {
       return std::vector{section(id, 0, 1, kName, stream(1)), section(id, 1, 1, descriptor(0x80, "x"), stream(2))};
     }},
    {"a descriptor cut short", [](unsigned id) { return std::vector{section(id, 0, 0, "\x47\x09x", stream(1))}; }},
};

Capture captureOf(const std::vector<std::string>& sections) {
  std::string file;
  for (const auto& each : sections) file += each;
  return readSections(file);
}

struct Kind {
  unsigned tableId;
  std::vector<NIT> TableSet::*member;
  std::int32_t pid;
};
const Kind kKinds[] = {{0x41, &TableSet::nitOthers, 0x10}, {0x4A, &TableSet::bats, 0x11}};

TEST(Networks, WhatGivesTheSameSectionsAgainIsReadable) {
  for (const Kind& kind : kKinds)
    for (const Layout& layout : kReadable) {
      const auto sections = layout.sections(kind.tableId);
      const Capture capture = captureOf(sections);
      ASSERT_THAT(capture.tables.*kind.member, SizeIs(1)) << layout.name;
      EXPECT_THAT(capture.tables.sections, IsEmpty()) << layout.name;
      const TableSet back = readTableSet(writeTableSet(capture.tables));
      EXPECT_EQ(back.*kind.member, capture.tables.*kind.member) << layout.name;
      EXPECT_EQ(sectionsOfNit((back.*kind.member)[0], static_cast<std::uint8_t>(kind.tableId)), sections)
          << layout.name;
      EXPECT_FALSE(capture.imports.begin()->second.asSections);
    }
}

TEST(Networks, WhatDoesNotStaysInSections) {
  for (const Kind& kind : kKinds)
    for (const Layout& layout : kOther) {
      const auto sections = layout.sections(kind.tableId);
      const Capture capture = captureOf(sections);
      EXPECT_THAT(capture.tables.*kind.member, IsEmpty()) << layout.name;
      ASSERT_THAT(capture.tables.sections, SizeIs(1)) << layout.name;
      EXPECT_EQ(capture.tables.sections[0].pid, kind.pid);
      EXPECT_EQ(capture.tables.sections[0].sections, sections) << layout.name;
      EXPECT_EQ(capture.tables.sections[0].period, 10000);
      EXPECT_TRUE(capture.imports.begin()->second.asSections);
      EXPECT_TRUE(capture.faults.empty()) << layout.name;
    }
}

TEST(Networks, TheLatestVersionWinsInWhateverForm) {
  for (const Kind& kind : kKinds) {
    const std::string readable = section(kind.tableId, 0, 0, kName, stream(1));
    const std::string other = makeSection(kind.tableId, 500, 4, 0, 0, "anything");
    const Capture first = captureOf({readable, other});
    EXPECT_THAT(first.tables.*kind.member, IsEmpty());
    ASSERT_THAT(first.tables.sections, SizeIs(1));
    EXPECT_EQ(first.tables.sections[0].sections[0], other);
    const Capture second = captureOf({other, readable});
    EXPECT_THAT(second.tables.*kind.member, SizeIs(1));
    EXPECT_THAT(second.tables.sections, IsEmpty());
  }
}

TEST(Networks, ThereIsOneForEachNetworkAndBouquet) {
  const Capture capture = captureOf({section(0x4A, 0, 0, kName, "", 1), section(0x4A, 0, 0, kName, "", 2),
                                     section(0x41, 0, 0, kName, "", 1), section(0x40, 0, 0, kName, "", 1)});
  EXPECT_THAT(capture.tables.bats, SizeIs(2));
  EXPECT_THAT(capture.tables.nitOthers, SizeIs(1));
  EXPECT_TRUE(capture.tables.nit);
}

TEST(Networks, ANitActualKeepsItsSectionsToo) {
  for (const Layout& layout : kReadable) {
    const auto sections = layout.sections(0x40);
    const Capture capture = captureOf(sections);
    ASSERT_TRUE(capture.tables.nit) << layout.name;
    const TableSet back = readTableSet(writeTableSet(capture.tables));
    EXPECT_EQ(back.nit, capture.tables.nit) << layout.name;
    EXPECT_EQ(sectionsOfNit(*back.nit, 0x40), sections) << layout.name;
  }
}

TEST(Networks, EveryFieldIsRead) {
  const TableSet set = readTableSet(R"({"bats": [{"bouquet_id": 65535, "version_number": 7,
      "current_next_indicator": false, "repeats_descriptors": true,
      "descriptors": [{"bouquet_name": {"name": "Family"}}],
      "transport_streams": [{"transport_stream_id": 1, "original_network_id": 2, "starts_section": true,
                             "descriptors": [{"tag": 65, "data": "000101"}]}]}],
      "nit_others": [{"network_id": 5, "version_number": 1, "transport_streams": []}]})");
  ASSERT_THAT(set.bats, SizeIs(1));
  EXPECT_EQ(set.bats[0].network_id, 65535);
  EXPECT_EQ(set.bats[0].version_number, 7);
  EXPECT_FALSE(set.bats[0].current_next_indicator);
  EXPECT_TRUE(set.bats[0].repeats_descriptors);
  EXPECT_EQ(set.bats[0].descriptors[0].data, "Family");
  EXPECT_TRUE(set.bats[0].transport_streams[0].starts_section);
  EXPECT_EQ(set.bats[0].transport_streams[0].descriptors[0].data, "\0\1\1"s);
  ASSERT_THAT(set.nitOthers, SizeIs(1));
  EXPECT_EQ(set.nitOthers[0].network_id, 5);
  EXPECT_FALSE(set.nitOthers[0].repeats_descriptors);
}

TEST(Networks, ErrorsNameThePlace) {
  EXPECT_EQ(errorOf(R"({"bats": [{"bouquet_id": 65536, "version_number": 1, "transport_streams": []}]})"),
            "/bats/0/bouquet_id: 65536 is above 0xFFFF");
  EXPECT_EQ(errorOf(R"({"nit_others": [{"network_id": 65536, "version_number": 1, "transport_streams": []}]})"),
            "/nit_others/0/network_id: 65536 is above 0xFFFF");
  EXPECT_EQ(errorOf(R"({"bats": [{"network_id": 1, "version_number": 1, "transport_streams": []}]})"),
            "/bats/0/network_id: unknown field");
  EXPECT_EQ(errorOf(R"({"bats": [{"bouquet_id": 1, "version_number": 1, "transport_streams": []},
                                 {"bouquet_id": 1, "version_number": 2, "transport_streams": []}]})"),
            "/bats/1: the same table as in /bats/0");
}

}  // namespace
}  // namespace vantor::tables::networks_test
