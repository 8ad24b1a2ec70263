#include "programs/outputs/StreamSink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "programs/outputs/OutputError.h"

namespace vantor::outputs {

namespace {

constexpr int kRetry = 1000;     // ms between attempts to write where that fails
constexpr int kPatience = 1000;  // ms at the end, for what is queued
constexpr mode_t kMode = 0666;   // less the umask

[[noreturn]] void fail() { throw OutputError(std::strerror(errno)); }

Descriptor openFile(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    throw OutputError(S_ISDIR(status.st_mode) ? "it is a directory" : "it is there and no ordinary file");
  // Without O_NONBLOCK a pipe that has been put there meanwhile would be waited for.
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kMode));
  if (file.get() < 0) fail();
  return file;
}

Descriptor openStdout() {
  if (isatty(STDOUT_FILENO) != 0) throw OutputError("it is a terminal; packets are for a pipe or a file");
  Descriptor copy(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
  if (copy.get() < 0) fail();
  return copy;
}

Descriptor openTarget(const Destination& destination) {
  return destination.form == Destination::Form::File ? openFile(destination.path) : openStdout();
}

Descriptor makeNews() {
  Descriptor news(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (news.get() < 0) fail();
  return news;
}

}  // namespace

StreamSink::StreamSink(const Destination& destination, const std::string& where)
    : Output(nameOf(destination), where), target(openTarget(destination)), news(makeNews()) {
  writer = std::thread(&StreamSink::run, this);
}

StreamSink::~StreamSink() { finish(); }

bool StreamSink::send(const Datagram& datagram) {
  if (ending.load(std::memory_order_relaxed)) return false;
  if (isOver()) {
    countLost(EPIPE);
    return false;
  }
  Slot slot;
  slot.size = std::min(datagram.size, slot.bytes.size());
  std::memcpy(slot.bytes.data(), datagram.bytes, slot.size);
  if (!queue.push(slot)) {
    countLost(currentError() != 0 ? currentError() : EAGAIN);
    return false;
  }
  eventfd_write(news.get(), 1);
  return true;
}

void StreamSink::finish() {
  if (!writer.joinable()) return;
  ending.store(true);
  eventfd_write(news.get(), 1);
  writer.join();
}

// --- Writer -----------------------------------------------------------------------------------------------------

void StreamSink::run() {
  Slot slot;
  while (true) {
    if (queue.pop(slot)) {
      if (write(slot)) continue;
      countLost(currentError() != 0 ? currentError() : EAGAIN);
      return giveUp();
    }
    if (ending.load() && queue.read_available() == 0) return;
    awaitNews(-1);
  }
}

/// False when the datagram cannot be written in the time that is left, or ever.
bool StreamSink::write(const Slot& slot) {
  for (std::size_t written = 0; written < slot.size;) {
    if (!waitForRoom()) return false;
    const ssize_t count = ::write(target.get(), slot.bytes.data() + written, slot.size - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno == EPIPE) {
      setError(EPIPE);
      return false;
    } else if (errno != EINTR && errno != EAGAIN) {
      setError(errno);
      if (!pauseBehindError()) return false;
    }
  }
  countSent(slot.size);
  return true;
}

/// A pipe with room has it for PIPE_BUF bytes, which is more than a datagram: the write behind this does not wait,
/// so that the end can be.
bool StreamSink::waitForRoom() {
  while (true) {
    const auto left = timeLeft();
    if (left == 0) return false;
    std::array<pollfd, 2> events{{{target.get(), POLLOUT, 0}, {news.get(), POLLIN, 0}}};
    // Once it is to end there is no more news.
    poll(events.data(), left ? 1 : 2, left.value_or(-1));
    if (events[0].revents != 0) return true;
    if (events[1].revents != 0) awaitNews(0);
  }
}

/// False when it is to end: an error that has just come would come again.
bool StreamSink::pauseBehindError() {
  const auto end = Clock::now() + std::chrono::milliseconds(kRetry);
  while (!ending.load()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return true;
    awaitNews(static_cast<int>(left));
  }
  return false;
}

void StreamSink::awaitNews(int timeout) {
  pollfd event{news.get(), POLLIN, 0};
  poll(&event, 1, timeout);
  eventfd_t count = 0;
  eventfd_read(news.get(), &count);
}

/// How long the writer may still wait in ms, nothing when for ever.
std::optional<int> StreamSink::timeLeft() {
  if (!ending.load()) return std::nullopt;
  const auto now = Clock::now();
  if (!deadline) deadline = now + std::chrono::milliseconds(kPatience);
  return static_cast<int>(
      std::max<std::int64_t>(0, std::chrono::ceil<std::chrono::milliseconds>(*deadline - now).count()));
}

/// What is queued is lost, and what comes from now on.
void StreamSink::giveUp() {
  setOver();
  queue.consume_all([this](const Slot&) { countLost(currentError()); });
}

}  // namespace vantor::outputs
