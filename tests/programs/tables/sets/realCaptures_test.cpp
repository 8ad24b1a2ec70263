#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <tuple>

#include "programs/tables/sections/SectionAssembler.h"
#include "programs/tables/sets/inputFile.h"
#include "programs/tables/sets/tableSetJson.h"
#include "tests/programs/streams.h"

/// Captures, our own and broadcast ones that lie beside the project: what is imported from them is sent as it was.

namespace vantor::tables::realCaptures_test {
namespace {

namespace fs = std::filesystem;

fs::path captureDirectory() {
  const char* const directory = std::getenv("SERVICEMUX_CAPTURES");
  return directory != nullptr ? directory : SERVICEMUX_CAPTURES;
}

std::string contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

/// What tells one subtable from another: table_id, extension, and of SDT and EIT the identifiers in the payload.
using Subtable = std::tuple<unsigned, unsigned, std::string>;
using Subtables = std::map<Subtable, NumberedSections>;

bool isSdt(const Section& section) { return section.tableId() == 0x42 || section.tableId() == 0x46; }
bool isEit(const Section& section) { return section.tableId() >= 0x4E && section.tableId() <= 0x6F; }

bool isKnown(const Section& section) {
  constexpr unsigned kOthers[] = {0x00, 0x01, 0x02, 0x40, 0xC7, 0xC8};
  return isSdt(section) || isEit(section) ||
         std::find(std::begin(kOthers), std::end(kOthers), section.tableId()) != std::end(kOthers);
}

Subtable subtableOf(const Section& section) {
  const std::size_t identifiers = isSdt(section) ? 2 : isEit(section) ? 4 : 0;
  const bool hasExtension = section.tableId() != 0x01;  // reserved in a CAT
  return {section.tableId(), hasExtension ? section.extension() : 0,
          std::string(section.payload().substr(0, identifiers))};
}

/// Keeps the last version of each subtable.
void keepLast(const Section& section, Subtables& subtables) {
  if (!section.hasSyntax() || !isKnown(section)) return;
  NumberedSections& sections = subtables[subtableOf(section)];
  if (!sections.empty() && sections.begin()->second.version() != section.version()) sections.clear();
  sections.insert_or_assign(section.number(), section);
}

Subtables lastVersions(const std::string& file, bool isStream) {
  Subtables subtables;
  std::map<unsigned, SectionAssembler> assemblers;
  for (std::size_t at = 0; at < file.size();) {
    const std::string_view rest = std::string_view(file).substr(at);
    if (!isStream) {
      keepLast(Section(std::string(rest.substr(0, 3 + sectionLength(rest)))), subtables);
      at += 3 + sectionLength(rest);
      continue;
    }
    const auto take = [&subtables](const Section& section) { keepLast(section, subtables); };
    assemblers.try_emplace(wordAt(rest, 1) & 0x1FFF, take, [](SectionFault) {})
        .first->second.push(rest.substr(0, 188));
    at += 188;
  }
  return subtables;
}

/// What the library makes of a table set.
Subtables generated(const TableSet& set) {
  Subtables subtables;
  const auto keep = [&subtables](const std::vector<std::string>& sections) {
    for (const auto& section : sections) keepLast(Section(section), subtables);
  };
  if (set.pat) keep(testing::sectionsOf(*set.pat));
  if (set.cat) keep(testing::sectionsOf(*set.cat));
  if (set.nit) keep(testing::sectionsOf(*set.nit));
  for (const auto& map : set.pmts) keep(testing::sectionsOf(map.pmt));
  if (set.sdtActual) keep(testing::sectionsOf(*set.sdtActual, 0x42));
  for (const auto& sdt : set.sdtOthers) keep(testing::sectionsOf(sdt, 0x46));
  for (const auto& eit : set.eitPf) keep(testing::sectionsOf(eit));
  for (const auto& eit : set.eitSchedule) keep(testing::sectionsOf(eit));
  if (set.mgt) keep(testing::sectionsOf(*set.mgt));
  if (set.terrestrialVct) keep(testing::sectionsOf(*set.terrestrialVct));
  return subtables;
}

void setBits(std::string& bytes, std::size_t at, unsigned bits) {
  bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) | bits);
}

/// Sets the reserved bits of items that follow one another from `at` on; each head ends in a loop's length.
template <typename SetBits>
void normaliseItems(std::string& bytes, std::size_t at, std::size_t head, SetBits setReserved) {
  for (; at < bytes.size(); at += head + (wordAt(bytes, at + head - 2) & 0x0FFFU)) setReserved(at);
}

/// A section without its CRC_32 and with every reserved bit set.
std::string normalised(const Section& section) {
  std::string bytes = section.bytes().substr(0, section.bytes().size() - 4);
  const unsigned tableId = section.tableId();
  setBits(bytes, 1, tableId >= 0x40 ? 0x70 : 0x30);
  setBits(bytes, 5, 0xC0);
  if (tableId == 0x00)
    for (std::size_t at = 10; at < bytes.size(); at += 4) setBits(bytes, at, 0xE0);
  if (tableId == 0x01)
    for (const std::size_t at : {3U, 4U}) setBits(bytes, at, 0xFF);
  if (tableId == 0x02) {
    setBits(bytes, 8, 0xE0);
    setBits(bytes, 10, 0xF0);
    normaliseItems(bytes, 12 + (wordAt(bytes, 10) & 0x0FFFU), 5, [&](std::size_t at) {
      setBits(bytes, at + 1, 0xE0);
      setBits(bytes, at + 3, 0xF0);
    });
  }
  if (tableId == 0x40) {
    setBits(bytes, 8, 0xF0);
    const std::size_t streams = 10 + (wordAt(bytes, 8) & 0x0FFFU);
    setBits(bytes, streams, 0xF0);
    normaliseItems(bytes, streams + 2, 6, [&](std::size_t at) { setBits(bytes, at + 4, 0xF0); });
  }
  if (isSdt(section)) {
    setBits(bytes, 10, 0xFF);
    normaliseItems(bytes, 11, 5, [&](std::size_t at) { setBits(bytes, at + 2, 0xFC); });
  }
  return bytes;
}

std::string nameOf(const Subtable& subtable) {
  return psi::tableTypeName(static_cast<std::uint8_t>(std::get<0>(subtable))) + " " +
         std::to_string(std::get<1>(subtable));
}

/// Of a file of sections, whose PAT does not name it.
constexpr unsigned kProgramWithoutPid = 11690;

/// Takes the capture through a JSON text and compares the sections that the library makes of that with those of the
/// capture.
void expectUnchanged(const fs::path& capture, std::size_t expectedSubtables) {
  Subtables before = lastVersions(contentsOf(capture), capture.extension() == ".ts");
  before.erase({0x02, kProgramWithoutPid, ""});
  const TableSet set = readTableSet(writeTableSet(readInputFile(capture).tables));
  const Subtables after = generated(set);
  EXPECT_EQ(before.size(), expectedSubtables);
  EXPECT_EQ(after.size(), before.size());
  for (const auto& [subtable, sections] : before) {
    const auto found = after.find(subtable);
    ASSERT_NE(found, after.end()) << nameOf(subtable);
    ASSERT_EQ(found->second.size(), sections.size()) << nameOf(subtable);
    for (auto [was, is] = std::pair(sections.begin(), found->second.begin()); was != sections.end(); ++was, ++is)
      EXPECT_EQ(normalised(is->second), normalised(was->second)) << nameOf(subtable) << "/" << int(was->first);
  }
}

TEST(OwnCaptures, AMultiplexWithItsGuideComesBackSectionBySection) {
  expectUnchanged(SERVICEMUX_OWN_CAPTURES "/dvb-t.ts", 33);
}

TEST(OwnCaptures, AScrambledServiceComesBackSectionBySection) {
  expectUnchanged(SERVICEMUX_OWN_CAPTURES "/scrambled.ts", 5);
}

TEST(OwnCaptures, AtscTablesComeBackSectionBySection) { expectUnchanged(SERVICEMUX_OWN_CAPTURES "/atsc.ts", 6); }

TEST(OwnCaptures, TheirEcmsAreCountedAndNothingElseIsInThem) {
  const auto scrambled = readInputFile(SERVICEMUX_OWN_CAPTURES "/scrambled.ts");
  const std::set<int> evenEcms = {0x0101, 0x0103};
  const std::set<int> oddEcms = {0x0102, 0x0104};
  EXPECT_EQ(scrambled.capture->sections.at(0x80).pids, evenEcms);
  EXPECT_EQ(scrambled.capture->sections.at(0x81).pids, oddEcms);
  EXPECT_EQ(scrambled.capture->otherPackets, 0U);
}

class RealCaptures : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(captureDirectory())) GTEST_SKIP() << captureDirectory() << " is not there";
  }

  static void expectUnchanged(const char* capture, std::size_t expectedSubtables) {
    realCaptures_test::expectUnchanged(captureDirectory() / capture, expectedSubtables);
  }
};

TEST_F(RealCaptures, AMultiplexWithItsGuideComesBackSectionBySection) { expectUnchanged("dvb-t-si.ts", 47); }

TEST_F(RealCaptures, TheLastOfSeveralVersionsComesBackSectionBySection) {
  expectUnchanged("dvb-table-updates.ts", 6);
}

TEST_F(RealCaptures, AFileOfSectionsComesBackSectionBySection) { expectUnchanged("dvb-network-sections.bin", 87); }

TEST_F(RealCaptures, AScrambledServiceComesBackSectionBySection) { expectUnchanged("dvb-scrambled-service.ts", 3); }

TEST_F(RealCaptures, AtscTablesComeBackSectionBySection) { expectUnchanged("atsc-sections.bin", 6); }

TEST_F(RealCaptures, TheirVersionsAreCounted) {
  const auto file = readInputFile(captureDirectory() / "dvb-table-updates.ts");
  EXPECT_EQ(file.capture->imports.at({{0x00, 0, 0, 0}, 0}).versions, 3U);
  EXPECT_EQ(file.capture->imports.at({{0x01, 0, 0, 0}, 0}).versions, 1U);
  EXPECT_EQ(file.capture->imports.at({{0x40, 0, 0, 0}, 0}).versions, 3U);
  EXPECT_EQ(file.capture->imports.at({{0x42, 0, 0, 0}, 0}).versions, 5U);
  EXPECT_EQ(file.capture->imports.at({{0x02, 1, 0, 0}, 32}).versions, 1U);
}

TEST_F(RealCaptures, TheirSectionsAreCounted) {
  const auto network = readInputFile(captureDirectory() / "dvb-network-sections.bin");
  EXPECT_EQ(network.capture->sections.at(0x02).count, 18U);
  EXPECT_EQ(network.capture->sections.at(0x42).count, 3U);
  EXPECT_EQ(network.capture->sections.at(0x46).count, 71U);
  EXPECT_EQ(network.capture->sections.at(0x4A).count, 4U);
  EXPECT_EQ(network.capture->sections.at(0x4E).count, 37U);
  const auto scrambled = readInputFile(captureDirectory() / "dvb-scrambled-service.ts");
  std::set<int> ecmPids = scrambled.capture->sections.at(0x80).pids;
  const std::set<int>& others = scrambled.capture->sections.at(0x81).pids;
  ecmPids.insert(others.begin(), others.end());
  EXPECT_EQ(ecmPids.size(), 7U);
  EXPECT_EQ(scrambled.capture->otherPackets, 0U);
}

}  // namespace
}  // namespace vantor::tables::realCaptures_test
