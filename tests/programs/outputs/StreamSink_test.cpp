#include "programs/outputs/StreamSink.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "programs/outputs/OutputError.h"
#include "tests/programs/outputs/sockets.h"

namespace vantor::outputs {
namespace {

namespace fs = std::filesystem;
using namespace testing;

/// Puts something else in the place of this process's stdout.
class Stdout {
 public:
  explicit Stdout(int replacement) : saved(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    dup2(replacement, STDOUT_FILENO);
  }
  Stdout(const Stdout&) = delete;
  Stdout& operator=(const Stdout&) = delete;
  ~Stdout() { dup2(saved.get(), STDOUT_FILENO); }

 private:
  const Descriptor saved;
};

/// A pipe of one page, and a sink that takes it for stdout.
class Pipe {
 public:
  Pipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    reader.emplace(ends[0]);
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    const Descriptor writer(ends[1]);
    const Stdout replaced(writer.get());
    sink.emplace(destination("-"), "stdout");
  }

  /// `size` bytes; fewer at the end.
  std::string read(std::size_t size) const {
    std::string bytes(size, '\0');
    std::size_t have = 0;
    for (ssize_t count = 1; have < size && count > 0; have += static_cast<std::size_t>(std::max<ssize_t>(count, 0)))
      count = ::read(reader->get(), &bytes[have], size - have);
    bytes.resize(have);
    return bytes;
  }

  std::optional<Descriptor> reader;
  std::optional<StreamSink> sink;
};

std::string packet(std::size_t number) {
  std::string bytes(188, static_cast<char>(number));
  bytes[0] = 'G';
  bytes[1] = static_cast<char>(number >> 8);
  return bytes;
}

bool send(StreamSink& sink, const std::string& bytes) { return sink.send({bytes.data(), bytes.size()}); }

template <typename Condition>
void await(Condition condition) {
  for (int tries = 0; tries < 6000 && !condition(); ++tries)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(condition());
}

class StreamSinkTest : public ::testing::Test {
 protected:
  StreamSinkTest() {
    std::string name = (fs::temp_directory_path() / "outputs-XXXXXX").string();
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
    signal(SIGPIPE, SIG_IGN);  // as the program does
  }
  ~StreamSinkTest() override { fs::remove_all(directory); }

  Destination fileNamed(const std::string& name) const {
    return destination("file:" + (directory / name).string());
  }

  std::string errorOf(const std::string& name) const {
    try {
      const StreamSink sink(fileNamed(name), "it");
    } catch (const OutputError& error) {
      return error.what();
    }
    return "none";
  }

  std::string contentsOf(const std::string& name) const {
    std::ifstream file(directory / name, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
  }

  fs::path directory;
};

TEST_F(StreamSinkTest, WritesTheDatagramsBackToBackToAFile) {
  std::ofstream(directory / "a.ts") << std::string(10000, 'x');
  StreamSink sink(fileNamed("a.ts"), "it");
  EXPECT_TRUE(send(sink, packet(1) + packet(2)));
  EXPECT_TRUE(send(sink, packet(3)));
  sink.finish();
  EXPECT_EQ(contentsOf("a.ts"), packet(1) + packet(2) + packet(3)) << "and nothing of what was there";
  EXPECT_EQ(sink.status().datagrams, 2U);
  EXPECT_EQ(sink.status().bytes, 3U * 188);
  EXPECT_EQ(sink.status().lost, 0U);
  EXPECT_FALSE(send(sink, packet(4)));
  EXPECT_EQ(sink.status().lost, 0U) << "it is the end, not a loss";
}

TEST_F(StreamSinkTest, OverwritesOrdinaryFilesAlone) {
  fs::create_directory(directory / "directory");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  fs::create_symlink("/dev/null", directory / "device");
  EXPECT_EQ(errorOf("directory"), "it is a directory");
  EXPECT_EQ(errorOf("fifo"), "it is there and no ordinary file");
  EXPECT_EQ(errorOf("device"), "it is there and no ordinary file");
  EXPECT_EQ(errorOf("missing/a.ts"), "No such file or directory");
  EXPECT_EQ(errorOf("a.ts"), "none");
}

TEST_F(StreamSinkTest, KeepsAStalledPipeOffThePacketPathAndCountsWhatIsLost) {
  Pipe pipe;
  std::size_t sent = 0;
  // The pipe's page and what the writer holds come before the queue.
  while (send(*pipe.sink, packet(sent)) && sent < 2 * StreamSink::kQueued) ++sent;
  EXPECT_GE(sent, StreamSink::kQueued);
  EXPECT_LE(sent, StreamSink::kQueued + 4096 / 188 + 1);
  OutputStatus status = pipe.sink->status();
  EXPECT_GE(status.lost, 1U);
  EXPECT_EQ(status.error, EAGAIN);
  EXPECT_FALSE(status.isOver);
  EXPECT_EQ(reasonOf(status.error), "it takes the packets too slowly");
  const std::uint64_t lost = status.lost;
  for (std::size_t number = 0; number < sent; ++number) EXPECT_EQ(pipe.read(188), packet(number)) << number;
  await([&] { return pipe.sink->status().datagrams == sent; });
  EXPECT_TRUE(send(*pipe.sink, packet(7)));
  EXPECT_EQ(pipe.read(188), packet(7)) << "packets stay whole";
  await([&] { return pipe.sink->status().datagrams == sent + 1; });
  status = pipe.sink->status();
  EXPECT_EQ(status.lost, lost);
  EXPECT_EQ(status.error, 0);
}

TEST_F(StreamSinkTest, IsOverWhenTheReaderIsGone) {
  Pipe pipe;
  EXPECT_TRUE(send(*pipe.sink, packet(1)));
  EXPECT_EQ(pipe.read(188), packet(1));
  pipe.reader.reset();
  EXPECT_TRUE(send(*pipe.sink, packet(2)));
  await([&] { return pipe.sink->status().isOver; });
  EXPECT_FALSE(send(*pipe.sink, packet(3)));
  const OutputStatus status = pipe.sink->status();
  EXPECT_EQ(status.datagrams, 1U);
  EXPECT_EQ(status.lost, 2U);
  EXPECT_EQ(status.error, EPIPE);
  EXPECT_FALSE(isUnused(status));
}

TEST_F(StreamSinkTest, GivesUpAtTheEndWhatNobodyTakes) {
  Pipe pipe;
  for (std::size_t number = 0; number < 100; ++number) EXPECT_TRUE(send(*pipe.sink, packet(number)));
  pipe.sink->finish();
  const OutputStatus status = pipe.sink->status();
  EXPECT_LE(status.datagrams, 4096U / 188);
  EXPECT_EQ(status.datagrams + status.lost, 100U);
}

TEST_F(StreamSinkTest, GoesOnWithTheSameDatagramWhenThereIsRoomAgain) {
  StreamSink sink(fileNamed("a.ts"), "it");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{300, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  EXPECT_TRUE(send(sink, packet(1)));
  EXPECT_TRUE(send(sink, packet(2)));
  await([&] { return sink.status().error != 0; });
  EXPECT_EQ(sink.status().error, EFBIG);
  EXPECT_EQ(sink.status().datagrams, 1U);
  setrlimit(RLIMIT_FSIZE, &before);
  await([&] { return sink.status().datagrams == 2; });
  EXPECT_EQ(sink.status().error, 0);
  sink.finish();
  EXPECT_EQ(contentsOf("a.ts"), packet(1) + packet(2));
  EXPECT_EQ(sink.status().lost, 0U);
}

TEST_F(StreamSinkTest, IsUnusedWhenNothingCouldBeWritten) {
  StreamSink sink(fileNamed("a.ts"), "it");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, SIG_IGN);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_TRUE(send(sink, packet(1)));
  EXPECT_TRUE(send(sink, packet(2)));
  await([&] { return sink.status().error != 0; });
  sink.finish();
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(sink.status().lost, 2U);
  EXPECT_TRUE(isUnused(sink.status()));
}

}  // namespace
}  // namespace vantor::outputs
