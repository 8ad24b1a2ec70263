#include "programs/tables/sets/inputFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "programs/tables/json/InputError.h"
#include "tests/programs/streams.h"

namespace vantor::tables {
namespace {

namespace fs = std::filesystem;
using namespace vantor::testing;

class InputFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "servicemux-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
  }
  void TearDown() override { fs::remove_all(directory); }

  std::string file(const std::string& name, const std::string& contents) const {
    std::ofstream(directory / name, std::ios::binary) << contents;
    return directory / name;
  }
  static std::string errorOf(const std::string& path, Versions versions) {
    try {
      readInput(path, {}, {}, versions);
    } catch (const InputError& error) {
      return error.what();
    }
    return "accepted";
  }

  fs::path directory;
};

TEST_F(InputFiles, AreReadByTheirContent) {
  const std::string pat = sectionsOf(makePat(5, 2))[0];
  EXPECT_EQ(readInputFile(file("set", R"({"cat": {"version_number": 7}})")).tables.cat->version_number, 7);
  EXPECT_EQ(readInputFile(file("sections", pat)).tables.pat, makePat(5, 2));
  EXPECT_EQ(readInputFile(file("stream", Packer(0).apart({pat}))).tables.pat, makePat(5, 2));
  EXPECT_FALSE(readInputFile(file("sections", pat)).capture->hasPids);
  EXPECT_TRUE(readInputFile(file("stream", Packer(0).apart({pat}))).capture->hasPids);
}

TEST_F(InputFiles, AreNamedOnceInAnError) {
  const std::string path = file("a.json", "{\"pat\": 1}");
  EXPECT_EQ(errorOf(path, Versions::any), path + ": /pat: 1 is not an object");
  EXPECT_EQ(errorOf("/no/such", Versions::any), "/no/such: No such file or directory");
  EXPECT_EQ(errorOf("/proc/self/mem", Versions::any), "/proc/self/mem: Input/output error");
}

TEST_F(InputFiles, MayHaveVersionsThatAreSentAsZeroWhereThatIsWanted) {
  const std::string path = file("a.json", R"({"cat": {"version_number": 32}})");
  EXPECT_EQ(errorOf(path, Versions::any), "accepted");
  EXPECT_EQ(errorOf(path, Versions::ofTheWire), path + ": /cat/version_number: 32 is above 31");
}

}  // namespace
}  // namespace vantor::tables
