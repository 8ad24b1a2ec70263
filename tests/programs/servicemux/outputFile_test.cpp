#include "programs/servicemux/outputFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "programs/outputs/OutputError.h"

namespace vantor::cli {
namespace {

namespace fs = std::filesystem;
using ::testing::UnorderedElementsAre;

class OutputFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "servicemux-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
  }
  void TearDown() override { fs::remove_all(directory); }

  std::string path(const std::string& name) const { return directory / name; }
  std::string contentsOf(const std::string& name) const {
    std::ostringstream bytes;
    bytes << std::ifstream(directory / name, std::ios::binary).rdbuf();
    return bytes.str();
  }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename());
    return names;
  }
  static std::string errorOf(const std::string& path) {
    try {
      writeOutputFile(path, "text");
    } catch (const outputs::OutputError& error) {
      return error.what();
    }
    return "written";
  }

  fs::path directory;
};

TEST_F(OutputFile, IsWrittenWhereNoneWas) {
  const mode_t mask = umask(022);
  writeOutputFile(path("a"), "text");
  umask(mask);
  EXPECT_EQ(contentsOf("a"), "text");
  EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms(0644));
  EXPECT_THAT(files(), UnorderedElementsAre("a"));
}

TEST_F(OutputFile, TakesThePlaceOfTheOneBefore) {
  std::ofstream(path("a")) << "a longer text than the new one";
  fs::permissions(path("a"), fs::perms(0600));
  std::ifstream before(path("a"));
  writeOutputFile(path("a"), "text");
  EXPECT_EQ(contentsOf("a"), "text");
  EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms(0600));
  std::string old;
  std::getline(before, old);
  EXPECT_EQ(old, "a longer text than the new one");  // who reads it goes on with a whole file
}

TEST_F(OutputFile, IsWhatALinkLeadsTo) {
  std::ofstream(path("a")) << "old";
  fs::create_symlink("a", path("link"));
  writeOutputFile(path("link"), "text");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(contentsOf("a"), "text");
}

TEST_F(OutputFile, MayBeADevice) {
  writeOutputFile("/dev/null", "text");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(OutputFile, SaysWhyItCannotBeWritten) {
  EXPECT_EQ(errorOf(path("no/a")), path("no/a") + ": No such file or directory");
  EXPECT_EQ(errorOf(directory), directory.string() + ": Is a directory");
  EXPECT_EQ(errorOf("/dev/full"), "/dev/full: No space left on device");
}

TEST_F(OutputFile, IsNotLeftHalfByASignal) {
  std::ofstream(path("a")) << "old";
  const pid_t child = fork();
  if (child == 0) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    raise(SIGINT);  // pending, as if it had come within the writing
    writeOutputFile(path("a"), std::string(5 << 20, 'x'));
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(contentsOf("a"), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("a"));
}

TEST_F(OutputFile, IsKnownByEveryName) {
  std::ofstream(path("a")) << "a";
  std::ofstream(path("b")) << "a";
  fs::create_hard_link(path("a"), path("hard"));
  EXPECT_TRUE(isSameFile(path("a"), path("hard")));
  EXPECT_FALSE(isSameFile(path("a"), path("b")));
  EXPECT_FALSE(isSameFile(path("a"), path("none")));
}

}  // namespace
}  // namespace vantor::cli
