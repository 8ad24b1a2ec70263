#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/fuzz/fuzzTarget.h"

/// Runs a fuzz target once on every file of a directory.
int main(int argc, char** argv) {
  int count = 0;
  if (argc == 2)
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
      std::ifstream file(entry.path(), std::ios::binary);
      std::ostringstream bytes;
      bytes << file.rdbuf();
      const std::string input = bytes.str();
      std::printf("%s\n", entry.path().filename().c_str());
      std::fflush(stdout);
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
      ++count;
    }
  std::printf("%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
