#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "programs/tables/SectionAssembler.h"
#include "programs/tables/SubtableBuilder.h"
#include "programs/tables/inputFile.h"
#include "programs/tables/tableSetJson.h"
#include "servicemux/front/serviceMux.h"

/// Broadcast captures that lie beside the project: what is imported from them goes on air as it was.

namespace vantor::tables {
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

std::string captured(const char* name) { return contentsOf(captureDirectory() / name); }

/// The sections of a transport stream's PID, in order.
std::vector<Section> sectionsOnPid(const std::string& stream, unsigned pid) {
  std::vector<Section> out;
  SectionAssembler assembler([&out](const Section& section) { out.push_back(section); }, [](SectionFault) {});
  for (std::size_t at = 0; at < stream.size(); at += 188) {
    const std::string_view packet = std::string_view(stream).substr(at, 188);
    if ((wordAt(packet, 1) & 0x1FFF) == pid) assembler.push(packet);
  }
  return out;
}

std::vector<Section> split(const std::string& file) {
  std::vector<Section> out;
  for (std::size_t at = 0; at < file.size();) {
    const std::size_t size = 3 + sectionLength(std::string_view(file).substr(at));
    out.emplace_back(file.substr(at, size));
    at += size;
  }
  return out;
}

/// The last version of a table that is whole.
std::vector<Section> lastVersion(const std::vector<Section>& sections, unsigned tableId) {
  std::vector<Section> out;
  SubtableBuilder builder;
  for (const auto& section : sections)
    if (section.tableId() == tableId && builder.add(section)) out = builder.sections();
  return out;
}

void setBits(std::string& bytes, std::size_t at, unsigned bits) {
  bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) | bits);
}

/// A section without its CRC_32 and with every reserved bit set, as far as the tables in hand have any.
std::string normalised(const Section& section) {
  std::string bytes = section.bytes().substr(0, section.bytes().size() - 4);
  setBits(bytes, 1, section.tableId() == 0x40 ? 0x70 : 0x30);
  setBits(bytes, 5, 0xC0);
  if (section.tableId() == 0x00)
    for (std::size_t at = 10; at < bytes.size(); at += 4) setBits(bytes, at, 0xE0);
  if (section.tableId() == 0x01)
    for (const std::size_t at : {3U, 4U}) setBits(bytes, at, 0xFF);
  if (section.tableId() == 0x40) {
    setBits(bytes, 8, 0xF0);
    std::size_t at = 10 + (wordAt(bytes, 8) & 0x0FFFU);
    setBits(bytes, at, 0xF0);
    for (at += 2; at < bytes.size(); at += 6 + (wordAt(bytes, at + 4) & 0x0FFFU)) setBits(bytes, at + 4, 0xF0);
  }
  return bytes;
}

class RealCaptures : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(captureDirectory())) GTEST_SKIP() << captureDirectory() << " is not there";
    std::string name = (fs::temp_directory_path() / "servicemux-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    dumps = name;
  }
  void TearDown() override {
    if (!dumps.empty()) fs::remove_all(dumps);
  }

  /// Takes the capture through a JSON text and the library and compares the sections that come out with `before`.
  void expectUnchanged(const char* capture, const std::vector<Section>& before, const char* dumpName,
                       std::size_t expectedSections) {
    const TableSet imported = readInputFile(captureDirectory() / capture).tables;
    const TableSet set = readTableSet(writeTableSet(imported));
    thrift::general::OutputAddress address;
    address.ip = "127.0.0.1";
    address.port = 9;
    serviceMux mux("test", address, dumps);
    for (const auto* kind : allTableKinds())
      if (kind->isIn(set)) {
        EXPECT_TRUE(kind->putOnAir(set, mux));
      }
    const std::vector<Section> after = split(contentsOf(dumps / ("current_" + std::string(dumpName) + ".bin")));
    ASSERT_EQ(before.size(), expectedSections);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(normalised(after[i]), normalised(before[i])) << i;
  }

  fs::path dumps;
};

TEST_F(RealCaptures, AMultiplexGoesOnAirAsItWas) {
  const std::string stream = captured("dvb-t-si.ts");
  expectUnchanged("dvb-t-si.ts", lastVersion(sectionsOnPid(stream, 0x00), 0x00), "PAT", 1);
  expectUnchanged("dvb-t-si.ts", lastVersion(sectionsOnPid(stream, 0x10), 0x40), "NITact", 1);
}

TEST_F(RealCaptures, TheLastOfSeveralVersionsGoesOnAirAsItWas) {
  const std::string stream = captured("dvb-table-updates.ts");
  expectUnchanged("dvb-table-updates.ts", lastVersion(sectionsOnPid(stream, 0x00), 0x00), "PAT", 1);
  expectUnchanged("dvb-table-updates.ts", lastVersion(sectionsOnPid(stream, 0x01), 0x01), "CAT", 1);
  expectUnchanged("dvb-table-updates.ts", lastVersion(sectionsOnPid(stream, 0x10), 0x40), "NITact", 1);
}

TEST_F(RealCaptures, AFileOfSectionsGoesOnAirAsItWas) {
  const std::vector<Section> sections = split(captured("dvb-network-sections.bin"));
  expectUnchanged("dvb-network-sections.bin", lastVersion(sections, 0x00), "PAT", 1);
  expectUnchanged("dvb-network-sections.bin", lastVersion(sections, 0x01), "CAT", 1);
}

TEST_F(RealCaptures, TheirVersionsAreCounted) {
  const auto file = readInputFile(captureDirectory() / "dvb-table-updates.ts");
  EXPECT_EQ(file.capture->imports.at(0x00).versions, 3U);
  EXPECT_EQ(file.capture->imports.at(0x01).versions, 1U);
  EXPECT_EQ(file.capture->imports.at(0x40).versions, 3U);
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
}  // namespace vantor::tables
