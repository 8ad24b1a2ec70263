#include "programs/servicemux/Progress.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace vantor::cli {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;

TEST(ProgressLine, SaysWhatItIsAtHowFarAndForHowLong) {
  EXPECT_EQ(progressLine("reading a.ts", 0.5, 12s, 100),
            "reading a.ts  [############            ]  50 %  12 s left");
  EXPECT_EQ(progressLine("reading a.ts", 0.25, 60s, 100),
            "reading a.ts  [######                  ]  25 %  3 min 0 s left");
  EXPECT_EQ(progressLine("reading a.ts", 1.0, 5s, 100), "reading a.ts  [########################] 100 %  0 s left");
}

TEST(ProgressLine, SaysNothingOfTheRestWhereThereIsNoTelling) {
  EXPECT_EQ(progressLine("a", 0.0, 1s, 100), "a  [                        ]   0 %");
  EXPECT_EQ(progressLine("a", std::nullopt, 61s, 100), "a  1 min 1 s");
}

TEST(ProgressLine, StaysWithinTheScreen) {
  EXPECT_EQ(progressLine("reading a.ts", 0.5, 12s, 49).size(), 49U);
  EXPECT_EQ(progressLine("reading a.ts", 0.5, 12s, 10).size(), 10U);
  EXPECT_EQ(progressLine("reading a.ts", 7.0, 12s, 49), progressLine("reading a.ts", 1.0, 12s, 49));
}

/// A terminal, and what was written to it.
class Terminal {
 public:
  Terminal() {
    EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    fcntl(master, F_SETFL, O_NONBLOCK);
    setenv("TERM", "xterm", 1);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    close(master);
    close(slave);
  }

  int fd() const { return slave; }
  std::string read() const {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(master, buffer.data(), buffer.size());
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

 private:
  int master = -1;
  int slave = -1;
};

TEST(ProgressOnATerminal, DrawsWhatTakesLongAndTakesItAway) {
  const Terminal terminal;
  {
    Progress progress("reading", terminal.fd());
    progress.update(0.1);
    EXPECT_EQ(terminal.read(), "");
    const auto end = Progress::Clock::now() + 60s;
    std::string shown;
    while (shown.empty() && Progress::Clock::now() < end) {
      progress.update(0.5);
      shown = terminal.read();
    }
    EXPECT_THAT(shown, HasSubstr("\rreading  [####"));
    progress.step("writing");
    progress.update(std::nullopt);
    EXPECT_THAT(terminal.read(), HasSubstr("\rwriting  0 s"));
  }
  EXPECT_THAT(terminal.read(), EndsWith("\r\x1b[K"));
}

TEST(ProgressOnATerminal, IsNothingElsewhere) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
  {
    Progress progress("reading", ends[1]);
    const auto end = Progress::Clock::now() + 1s;
    while (Progress::Clock::now() < end) progress.update(0.5);
  }
  std::array<char, 16> buffer;
  EXPECT_EQ(read(ends[0], buffer.data(), buffer.size()), -1);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace vantor::cli
