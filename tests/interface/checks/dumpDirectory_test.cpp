#include "interface/checks/dumpDirectory.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/interface/checks/refuses.h"

using vantor::checkDumpDirectory;
namespace fs = std::filesystem;

namespace {

constexpr const char* kNoName = "may only hold letters, digits and /._- and not begin with -";
constexpr uid_t kNobody = 65534;

class DumpDirectoryCheck : public testing::Test {
 protected:
  DumpDirectoryCheck() {
    std::string name = testing::TempDir() + "dumps.XXXXXX";
    directory = mkdtemp(name.data());
  }
  ~DumpDirectoryCheck() override { fs::remove_all(directory); }

  void put(const std::string& file) const { std::ofstream(directory + '/' + file) << "x"; }
  auto refusesIt(const std::string& reason) const { return refuses("", '\'' + directory + '\'', reason); }

  std::string directory;
};

}  // namespace

TEST_F(DumpDirectoryCheck, TakesAnEmptyDirectoryAndOneOfDumps) {
  EXPECT_THAT(checkDumpDirectory(directory), passes());
  for (const char* file : {"table_PAT_3.bin", "current_PAT.bin", "notes.txt", "x.bin.old"}) put(file);
  EXPECT_THAT(checkDumpDirectory(directory + "/."), passes());
}

TEST_F(DumpDirectoryCheck, RefusesNamesThatAShellInterprets) {
  for (const char c : std::string(" ;|&$`'\"\\*?[](){}<>!#~=%\n\t:,@+^")) {
    const std::string name = directory + "/a" + c;
    fs::create_directory(name);
    EXPECT_THAT(checkDumpDirectory(name), refuses("", '\'' + name + '\'', kNoName));
  }
  EXPECT_THAT(checkDumpDirectory(""), refuses("", "''", kNoName));
  EXPECT_THAT(checkDumpDirectory("-rf"), refuses("", "'-rf'", kNoName));
  const std::string withNul("/tmp\0/x", 7);
  EXPECT_THAT(checkDumpDirectory(withNul), refuses("", '\'' + withNul + '\'', kNoName));
}

TEST_F(DumpDirectoryCheck, RefusesWhatIsNoDirectory) {
  const std::string file = directory + "/file";
  EXPECT_THAT(checkDumpDirectory(file), refuses("", '\'' + file + '\'', "is not an existing directory"));
  put("file");
  EXPECT_THAT(checkDumpDirectory(file), refuses("", '\'' + file + '\'', "is not an existing directory"));
}

TEST_F(DumpDirectoryCheck, RefusesADirectoryWithOtherBinFiles) {
  put("firmware.bin");
  EXPECT_THAT(checkDumpDirectory(directory),
              refusesIt("holds firmware.bin, and every *.bin there is removed at the end"));
}

TEST_F(DumpDirectoryCheck, RefusesADirectoryThatCannotBeWritten) {
  fs::permissions(directory,
                  fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
  // Nothing is closed to root, so a child does it as somebody else.
  const auto checkAsSomebodyElse = [this] {
    if (geteuid() == 0 && setuid(kNobody) != 0) _exit(2);
    const auto refusal = checkDumpDirectory(directory);
    _exit(refusal && textOf(*refusal) == '\'' + directory + "' cannot be written to: Permission denied" ? 0 : 1);
  };
  EXPECT_EXIT(checkAsSomebodyElse(), testing::ExitedWithCode(0), "");
}
