#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/FailingGenerators.h"
#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/doubles/Waits.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/sections.h"

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vantor::serviceMux;

class Dumps : public testing::Test {
 protected:
  Dumps() {
    std::string path = fs::temp_directory_path() / "servicemux-dumps-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make " + path);
    directory = path;
    mux = makeMux(directory);
  }

  ~Dumps() override {
    mux.reset();
    fs::remove_all(directory);
  }

  static std::unique_ptr<serviceMux> makeMux(const std::string& dumpPath) {
    return std::make_unique<serviceMux>("mux", makeAddress(), dumpPath);
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename());
    return names;
  }

  bool exists(const std::string& name) const {
    return fs::symlink_status(directory / name).type() != fs::file_type::not_found;
  }

  std::string contents(const std::string& name) const {
    std::ifstream file(directory / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string linkTarget(const std::string& name) const { return fs::read_symlink(directory / name); }

  /// Makes a file as old as this many hours, counted as the pruning does.
  void makeFile(const std::string& name, int hours) {
    std::ofstream(directory / name) << name;
    setAge(name, hours);
  }

  void setAge(const std::string& name, int hours) {
    const time_t modified = (clocks.system() / 3600 - hours) * 3600;
    const timespec times[] = {{modified, 0}, {modified, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (directory / name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }

  void prune() {
    clocks.advance(kWeek);
    mux->clearOldDumpedTables();
  }

  static constexpr nanoseconds kWeek = boost::chrono::hours(7 * 24);

  RecordedLog log;
  const ThreadCalls granted{ThreadCalls::Priorities::kGranted};
  FrozenClocks clocks;
  fs::path directory;
  std::unique_ptr<serviceMux> mux;
};

std::string pattern(std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(patternByte(i)));
  return bytes;
}

/// The CRC_32 of MPEG-2 over whole sections is 0.
std::uint32_t crcOf(const std::string& section) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : section) {
    crc ^= static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) << 24;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000U) != 0 ? crc << 1 ^ 0x04C11DB7U : crc << 1;
  }
  return crc;
}

std::vector<std::string> splitSections(const std::string& bytes) {
  std::vector<std::string> sections;
  for (std::size_t offset = 0; offset + 3 <= bytes.size();) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[offset + i]); };
    const std::size_t size = ((byte(1) & 0x0FU) << 8 | byte(2)) + 3;
    sections.push_back(bytes.substr(offset, size));
    offset += size;
  }
  return sections;
}

}  // namespace

TEST_F(Dumps, TableNamesFollowTableIdAndExtension) {
  EXPECT_EQ(serviceMux::getTablename(0x00, 5), "PAT");
  EXPECT_EQ(serviceMux::getTablename(0x01, 5), "CAT");
  EXPECT_EQ(serviceMux::getTablename(0x02, 0), "PMT_0");
  EXPECT_EQ(serviceMux::getTablename(0x02, 256), "PMT_256");
  EXPECT_EQ(serviceMux::getTablename(0x02, 65535), "PMT_65535");
  EXPECT_EQ(serviceMux::getTablename(0x40, 5), "NITact");
  EXPECT_EQ(serviceMux::getTablename(0x42, 5), "SDTact");
  for (const int other : {0x03, 0x41, 0x46, 0x4E, 0x4F, 0x50, 0x60, 0x70, 0xC8, 0xFF})
    EXPECT_EQ(serviceMux::getTablename(static_cast<unsigned char>(other), 5), "") << other;
}

TEST_F(Dumps, PmtIsWrittenUnderItsProgramNumberAndVersion) {
  mux->dumpTable(makeSections({{30, true, 0x02, 256, 3}}).get());
  EXPECT_THAT(files(), UnorderedElementsAre("table_PMT_256_3.bin", "current_PMT_256.bin"));
  EXPECT_EQ(contents("table_PMT_256_3.bin"), pattern(34));
  EXPECT_EQ(linkTarget("current_PMT_256.bin"), "table_PMT_256_3.bin") << "relative, so that the directory can move";
}

TEST_F(Dumps, SectionsFollowEachOtherWithTheirCrcWhereTheyHaveOne) {
  mux->dumpTable(makeSections({{20, true, 0x00, 1, 31}, {7, false}, {300, true}}).get());
  EXPECT_EQ(contents("table_PAT_31.bin"), pattern(24) + pattern(7) + pattern(304));
}

TEST_F(Dumps, OtherTablesAreNotWritten) {
  mux->dumpTable(makeSections({{30, true, 0x46, 1, 3}}).get());
  mux->dumpTable(makeSections({{30, true, 0x4E, 1, 3}}).get());
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Dumps, EachNewTableOfTheIntakeIsWritten) {
  mux->newPAT(makePat(1));
  mux->newCAT(makeCat(40));
  mux->newNIT(makeNit(3));
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_1.bin", "current_PAT.bin", "table_CAT_0.bin",
                                            "current_CAT.bin", "table_NITact_3.bin", "current_NITact.bin"));
}

TEST_F(Dumps, FileHoldsTheWholeSectionsThatAreSent) {
  mux->newPAT(makePat(5, 250));
  const auto sections = splitSections(contents("table_PAT_5.bin"));
  ASSERT_EQ(sections.size(), 3U);
  for (std::size_t i = 0; i < sections.size(); ++i) {
    EXPECT_EQ(sections[i].size(), i < 2 ? 412U : 212U);
    EXPECT_EQ(crcOf(sections[i]), 0U) << i;
    EXPECT_EQ(sections[i][0], 0x00);
    EXPECT_EQ(sections[i].substr(3, 2), std::string("\x00\x2A", 2));
    EXPECT_EQ(sections[i][5] >> 1 & 0x1F, 5);
    EXPECT_EQ(sections[i][6], static_cast<char>(i));
    EXPECT_EQ(sections[i][7], 2);
  }
}

TEST_F(Dumps, NewVersionMovesTheLinkAndLeavesTheOldFile) {
  mux->newPAT(makePat(1));
  mux->newPAT(makePat(2));
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_1.bin", "table_PAT_2.bin", "current_PAT.bin"));
  EXPECT_EQ(linkTarget("current_PAT.bin"), "table_PAT_2.bin");
}

TEST_F(Dumps, SameVersionOverwritesItsFile) {
  mux->newPAT(makePat(1, 100));
  mux->newPAT(makePat(1, 1));
  EXPECT_EQ(contents("table_PAT_1.bin").size(), 16U);
  EXPECT_EQ(linkTarget("current_PAT.bin"), "table_PAT_1.bin");
}

TEST_F(Dumps, TableThatIsNotSentIsNotWritten) {
  const FailingGenerators failing;
  mux->newPAT(makePat(1));
  mux->newPAT(makePat(1, 1, 0x2000));
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Dumps, FileThatCannotBeOpenedLeavesTheLinkAtThePreviousVersion) {
  mux->newPAT(makePat(1));
  fs::create_directory(directory / "table_PAT_2.bin");
  log.take();
  EXPECT_EQ(mux->newPAT(makePat(2)), 2);
  EXPECT_EQ(linkTarget("current_PAT.bin"), "table_PAT_1.bin");
  EXPECT_THAT(takeLines(log), ElementsAre("7 [newPAT]", "5 [mux] New PAT 002a/v2 Size 1s/16b"));
}

TEST_F(Dumps, MissingDirectoryIsNotMadeAndNotReported) {
  const std::string missing = directory / "missing";
  mux = makeMux(missing);
  log.take();
  EXPECT_EQ(mux->newPAT(makePat(1)), 1);
  mux->clearCAT();
  mux->clearAllTables();
  clocks.advance(kWeek);
  mux->clearOldDumpedTables();
  mux.reset();
  EXPECT_FALSE(fs::exists(missing));
  for (const auto& message : log.take()) EXPECT_NE(message.level, 3) << message.text;
}

TEST_F(Dumps, EmptyPathSwitchesThemOff) {
  const fs::path before = fs::current_path();
  fs::current_path(directory);
  mux = makeMux("");
  makeFile("old.bin", 10000);
  log.take();
  mux->newPAT(makePat(1));
  mux->clearCurrentdumpedTable(0x00, 0);
  mux->clearAllTables();
  clocks.advance(kWeek);
  mux->clearOldDumpedTables();
  mux.reset();
  EXPECT_THAT(files(), ElementsAre("old.bin"));
  EXPECT_THAT(takeLines(log), testing::Not(testing::Contains("7 [clearOldDumpedTables]")));
  fs::current_path(before);
}

TEST_F(Dumps, DirectoryInThePlaceOfALinkIsLeftAlone) {
  fs::create_directory(directory / "current_PAT.bin");
  fs::create_directory(directory / "current_CAT.bin");
  mux->newPAT(makePat(1));
  mux->clearCAT();
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_1.bin", "current_PAT.bin", "current_CAT.bin"));
  EXPECT_TRUE(fs::is_directory(fs::symlink_status(directory / "current_PAT.bin")));
}

// --- Clearing ---------------------------------------------------------------------------------------------------

TEST_F(Dumps, ClearedPmtLosesItsLinkAndKeepsItsFile) {
  mux->dumpTable(makeSections({{30, true, 0x02, 256, 3}}).get());
  mux->dumpTable(makeSections({{30, true, 0x02, 257, 3}}).get());
  mux->clearCurrentdumpedTable(0x02, 256);
  EXPECT_THAT(files(), UnorderedElementsAre("table_PMT_256_3.bin", "table_PMT_257_3.bin", "current_PMT_257.bin"));
}

TEST_F(Dumps, ClearingATableThatIsNotDumpedTouchesNothing) {
  mux->newPAT(makePat(1));
  mux->clearCurrentdumpedTable(0x46, 0);
  EXPECT_TRUE(exists("current_PAT.bin"));
}

TEST_F(Dumps, ClearCatAndClearNitRemoveTheirLinksEvenWhenAlreadyCleared) {
  mux->newCAT(makeCat(1));
  mux->newNIT(makeNit(2));
  mux->clearCAT();
  mux->clearNIT();
  EXPECT_THAT(files(), UnorderedElementsAre("table_CAT_1.bin", "table_NITact_2.bin"));
  fs::create_symlink("table_CAT_1.bin", directory / "current_CAT.bin");
  fs::create_symlink("table_NITact_2.bin", directory / "current_NITact.bin");
  mux->clearCAT();
  mux->clearNIT();
  EXPECT_THAT(files(), UnorderedElementsAre("table_CAT_1.bin", "table_NITact_2.bin"));
}

TEST_F(Dumps, ClearAllTablesRemovesFilesAndLinks) {
  mux->newPAT(makePat(1));
  mux->newPAT(makePat(2));
  makeFile("stranger.bin", 0);
  makeFile("stranger.txt", 0);
  mux->clearAllTables();
  EXPECT_THAT(files(), ElementsAre("stranger.txt"));
}

TEST_F(Dumps, DestructionRemovesFilesAndLinks) {
  mux->newPAT(makePat(1));
  mux->newNIT(makeNit(1));
  mux.reset();
  EXPECT_THAT(files(), IsEmpty());
}

// --- Pruning ----------------------------------------------------------------------------------------------------

TEST_F(Dumps, FileOlderThan720HoursIsPruned) {
  makeFile("table_PAT_1.bin", 721);
  makeFile("table_PAT_2.bin", 720);
  makeFile("table_PAT_3.bin", 0);
  prune();
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_2.bin", "table_PAT_3.bin"));
}

TEST_F(Dumps, FileInForceIsKeptHoweverOld) {
  makeFile("table_PAT_1.bin", 100000);
  makeFile("table_PAT_2.bin", 721);
  fs::create_symlink("table_PAT_1.bin", directory / "current_PAT.bin");
  prune();
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_1.bin", "current_PAT.bin"));
}

TEST_F(Dumps, HardLinkOfAFileInForceIsKeptToo) {
  makeFile("table_PAT_1.bin", 721);
  fs::create_hard_link(directory / "table_PAT_1.bin", directory / "copy.bin");
  fs::create_symlink("table_PAT_1.bin", directory / "current_PAT.bin");
  prune();
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_1.bin", "copy.bin", "current_PAT.bin"));
}

TEST_F(Dumps, OldFilesOfOthersArePrunedByTheirExtension) {
  for (const char* name : {"stranger.bin", "two.dots.bin", "..bin", ".bin", "table.bin.old", "table.BIN", "bin",
                           "table.binx", "table.bin."})
    makeFile(name, 721);
  prune();
  EXPECT_THAT(files(),
              UnorderedElementsAre(".bin", "table.bin.old", "table.BIN", "bin", "table.binx", "table.bin."));
}

TEST_F(Dumps, OnlyFilesArePruned) {
  fs::create_directory(directory / "directory.bin");
  setAge("directory.bin", 721);
  fs::create_symlink("nowhere", directory / "dangling.bin");
  setAge("dangling.bin", 721);
  makeFile("outside", 721);
  fs::create_symlink("outside", directory / "link.bin");
  setAge("link.bin", 721);
  prune();
  EXPECT_THAT(files(), UnorderedElementsAre("directory.bin", "dangling.bin", "outside", "link.bin"));
}

TEST_F(Dumps, LinkOfAnyNameProtects) {
  makeFile("table_PAT_1.bin", 721);
  fs::create_symlink("table_PAT_1.bin", directory / "mine.bin");
  prune();
  EXPECT_THAT(files(), UnorderedElementsAre("table_PAT_1.bin", "mine.bin"));
}

TEST_F(Dumps, LinkWithAnotherExtensionDoesNotProtect) {
  makeFile("table_PAT_1.bin", 721);
  fs::create_symlink("table_PAT_1.bin", directory / "current_PAT");
  prune();
  EXPECT_THAT(files(), ElementsAre("current_PAT"));
}

TEST_F(Dumps, PruningWaits7DaysFromConstructionAndFromTheLastOne) {
  const auto attempt = [this](nanoseconds later) {
    makeFile("old.bin", 721);
    log.take();
    clocks.advance(later);
    mux->clearOldDumpedTables();
    const bool pruned = !exists("old.bin");
    const auto expected =
        pruned ? std::vector<std::string>{"7 [clearOldDumpedTables]"} : std::vector<std::string>{};
    EXPECT_EQ(takeLines(log), expected);
    return pruned;
  };
  EXPECT_FALSE(attempt({}));
  EXPECT_FALSE(attempt(kWeek - nanoseconds(1)));
  EXPECT_TRUE(attempt(nanoseconds(1)));
  EXPECT_FALSE(attempt(nanoseconds(1)));
  EXPECT_FALSE(attempt(kWeek - nanoseconds(2)));
  EXPECT_TRUE(attempt(nanoseconds(1)));
}
