#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The default log_function as a program's reader of stderr sees it. LOG_PROGRAM is that program.

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class Pipe {
 public:
  Pipe() {
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    ::close(readEnd());
    closeWriteEnd();
  }

  int readEnd() const { return ends[0]; }
  int writeEnd() const { return ends[1]; }
  void closeWriteEnd() { ::close(std::exchange(ends[1], -1)); }

 private:
  std::array<int, 2> ends{};
};

/// LOG_PROGRAM while it runs.
class LogProgram {
 public:
  explicit LogProgram(std::string way, const char* threshold = nullptr) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
      if (std::string(*variable).rfind("SERVICEMUX_LOG=", 0) != 0) variables.emplace_back(*variable);
    if (threshold != nullptr) variables.push_back(std::string("SERVICEMUX_LOG=") + threshold);
    // A leak check in a forked child waits for the threads that only its parent has, and the thread sanitizer gives
    // them a second at its end.
    if (way == "forked children")
      variables.insert(variables.begin(), {"ASAN_OPTIONS=detect_leaks=0", "TSAN_OPTIONS=atexit_sleep_ms=0"});
    std::vector<char*> environment;
    for (auto& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);

    std::string program = LOG_PROGRAM;
    char* const arguments[] = {program.data(), way.data(), nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, in.readEnd(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, out.writeEnd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, err.writeEnd(), STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&child, program.c_str(), &files, nullptr, arguments, environment.data()), 0);
    posix_spawn_file_actions_destroy(&files);
    out.closeWriteEnd();
    err.closeWriteEnd();
  }
  LogProgram(const LogProgram&) = delete;
  LogProgram& operator=(const LogProgram&) = delete;
  ~LogProgram() {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }

  /// The next line, or what is left before the end; stays empty at the end.
  std::string nextStdoutLine() { return nextLine(out.readEnd()); }
  std::string nextStderrLine() { return nextLine(err.readEnd()); }

  std::vector<std::string> stdoutLines() { return lines(out.readEnd()); }
  std::vector<std::string> stderrLines() { return lines(err.readEnd()); }

  void endInput() { in.closeWriteEnd(); }

 private:
  static std::string nextLine(int file) {
    std::string line;
    for (char next; ::read(file, &next, 1) == 1 && next != '\n';) line += next;
    return line;
  }

  static std::vector<std::string> lines(int file) {
    std::vector<std::string> all;
    for (std::string line = nextLine(file); !line.empty(); line = nextLine(file)) all.push_back(line);
    return all;
  }

  pid_t child = -1;
  Pipe in;
  Pipe out;
  Pipe err;
};

/// The line without its time, which must be in front.
std::string withoutTime(const std::string& line) {
  const std::string_view kTime = "0000-00-00 00:00:00.000 ";
  const auto alike = [](char pattern, char c) {
    return pattern == '0' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : pattern == c;
  };
  if (line.size() < kTime.size() || !std::equal(kTime.begin(), kTime.end(), line.begin(), alike))
    return "no time in: " + line;
  return line.substr(kTime.size());
}

/// The number in a line that is `before`, a number and `behind`; nothing in any other line.
std::optional<unsigned long> numberIn(const std::string& line, const std::string& before,
                                      const std::string& behind) {
  if (line.rfind(before, 0) != 0) return std::nullopt;
  const std::size_t end = line.find_first_not_of("0123456789", before.size());
  if (end == std::string::npos || end == before.size() || line.substr(end) != behind) return std::nullopt;
  return std::stoul(line.substr(before.size(), end));
}

std::vector<std::string> messages(LogProgram& program) {
  std::vector<std::string> all;
  for (const auto& line : program.stderrLines()) all.push_back(withoutTime(line));
  return all;
}

std::vector<std::string> messagesOf(const std::string& way, const char* threshold = nullptr) {
  LogProgram program(way, threshold);
  return messages(program);
}

/// The messages of `source` in the flood, those in summaries included.
unsigned long countIn(const std::vector<std::string>& log, const std::string& source) {
  const std::string message = "error   [" + source + "] Failed to send";
  unsigned long count = 0;
  for (const auto& line : log)
    count +=
        line == message ? 1 : numberIn(line, message + " ... repeated ", " times in the last second").value_or(0);
  return count;
}

}  // namespace

TEST(DefaultLog, ShowsNoticesAndWhatIsWorse) {
  EXPECT_THAT(messagesOf("levels"), ElementsAre("error   level 3", "warning level 4", "notice  level 5"));
}

TEST(DefaultLog, TakesItsThresholdFromTheEnvironmentAsNumberOrName) {
  const std::vector<std::pair<const char*, const char*>> spellings{
      {"3", "error"}, {"4", "warning"}, {"5", "notice"}, {"6", "info"}, {"7", "debug"}};
  for (std::size_t i = 0; i < spellings.size(); ++i) {
    EXPECT_THAT(messagesOf("levels", spellings[i].first), SizeIs(i + 1));
    EXPECT_THAT(messagesOf("levels", spellings[i].second), SizeIs(i + 1));
  }
  EXPECT_THAT(messagesOf("levels", "debug"), ElementsAre("error   level 3", "warning level 4", "notice  level 5",
                                                         "info    level 6", "debug   level 7"));
}

TEST(DefaultLog, NamesAThresholdThatItDoesNotKnow) {
  EXPECT_THAT(messagesOf("levels", "loud"),
              ElementsAre("warning SERVICEMUX_LOG: 'loud' is none of error, warning, notice, info, debug or 3 to 7",
                          "error   level 3", "warning level 4", "notice  level 5"));
}

TEST(DefaultLog, TakesItsThresholdFromACallBeforeTheEnvironment) {
  EXPECT_THAT(messagesOf("levels up to info", "error"), SizeIs(4));
  EXPECT_THAT(messagesOf("levels up to -5"), ElementsAre("error   level 3"));
  EXPECT_THAT(messagesOf("levels up to 99"), SizeIs(5));
}

TEST(DefaultLog, TakesLevelsBelowErrorForErrorsAndAboveDebugForNone) {
  EXPECT_THAT(messagesOf("levels from 0 to 9"), ElementsAre("error   level 0"));
}

TEST(DefaultLog, KeepsTheMessagesOfEachThreadWholeAndInOrder) {
  std::vector<int> next(8, 0);
  for (const auto& message : messagesOf("threads")) {
    std::istringstream words(message);
    std::string level, writer, number;
    std::size_t thread = 0;
    int index = -1;
    words >> level >> writer >> thread >> number >> index;
    ASSERT_EQ(message, "error   writer " + std::to_string(thread) + " message " + std::to_string(index));
    EXPECT_EQ(index, next.at(thread)++);
  }
  EXPECT_THAT(next, testing::Each(100));
}

TEST(DefaultLog, NamesTheOutputThatAThreadLogsForUnlessTheMessageDoes) {
  EXPECT_THAT(messagesOf("contexts"),
              ElementsAre("error   of none", "error   [one] Unable to open socket.", "error   [one] PMT not found",
                          "error   [one] [onerous] PMT not found", "error   of another thread",
                          "error   [two] within one", "error   of none again"));
}

TEST(DefaultLog, SummarisesInterleavedFloodsAndLosesNoCountAtExit) {
  const auto log = messagesOf("flood");
  EXPECT_THAT(log, SizeIs(testing::Lt(400U)));
  EXPECT_EQ(countIn(log, "one"), 400U);
  EXPECT_EQ(countIn(log, "two"), 400U);
}

TEST(DefaultLog, SummarisesAFloodThatHasEndedWithoutAFurtherMessage) {
  LogProgram program("flood that has ended");
  std::vector<std::string> log;
  while (countIn(log, "one") < 400 || countIn(log, "two") < 400) {
    const std::string line = program.nextStderrLine();
    if (line.empty()) break;
    log.push_back(withoutTime(line));
  }
  EXPECT_EQ(countIn(log, "one"), 400U);
  EXPECT_EQ(countIn(log, "two"), 400U);
  program.endInput();
  EXPECT_THAT(messages(program), IsEmpty());
}

TEST(DefaultLog, HoldsBackErrorsOnly) { EXPECT_THAT(messagesOf("warnings"), SizeIs(100)); }

TEST(DefaultLog, DoesNotWaitForASlowReaderAndTellsWhatWasLost) {
  LogProgram program("slow reader");
  EXPECT_EQ(program.nextStdoutLine(), "all logged");  // nothing has been read from stderr yet
  const auto log = messages(program);
  unsigned long written = 0;
  unsigned long lost = 0;
  std::string last;
  for (const auto& message : log) {
    if (const auto losses = numberIn(message, "warning ", " log messages lost: stderr is too slow")) {
      lost += *losses;
    } else {
      ++written;
      last = message;
    }
  }
  EXPECT_EQ(last.substr(0, 20), "error   message 4999");
  EXPECT_GT(lost, 0U);
  EXPECT_GE(written + lost, 5000U);
}

TEST(DefaultLog, WritesFromDestructorsOfStaticObjects) {
  EXPECT_THAT(messagesOf("static destruction"),
              ElementsAre("error   first", "error   destroyed before the log's end",
                          "error   destroyed after the log's end"));
}

TEST(DefaultLog, WritesFromForkedChildrenAndLetsThemExit) {
  std::vector<std::string> expected;
  for (int i = 0; i < 50; ++i)
    for (const char* who : {"parent ", "child "})
      expected.push_back("warning " + std::string(who) + std::to_string(i));
  EXPECT_THAT(messagesOf("forked children"), testing::UnorderedElementsAreArray(expected));
}

TEST(DefaultLog, LeavesOutWhatTheProgramSaysItself) {
  EXPECT_THAT(messagesOf("left out"),
              ElementsAre("error   [one] said elsewhere as well", "error   [one] said elsewhere"));
}

TEST(DefaultLog, CutsOffALongMessageVisibly) {
  EXPECT_THAT(messagesOf("long message"), ElementsAre("error   " + std::string(2045, 'x') + "..."));
}

TEST(DefaultLog, ItsThreadsInheritNeitherRealTimePriorityNorSignals) {
  LogProgram program("real-time thread");
  const auto threads = program.stdoutLines();
  if (threads == std::vector<std::string>{"no real-time priority"})
    GTEST_SKIP() << "the process may not use real-time priority";
  EXPECT_THAT(threads, SizeIs(testing::Ge(2U)));  // queue, timer and perhaps the one that made them, on its way out
  for (const auto& thread : threads)
    EXPECT_THAT(thread, testing::MatchesRegex("policy 0 SigBlk:.fff[f]*[0-9a-f]*"));
}
