#include "programs/servicemux/outputFile.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "programs/outputs/OutputError.h"
#include "programs/tables/json/InputError.h"

namespace vantor::cli {

namespace {

constexpr std::size_t kPart = 1 << 20;  // bytes between two looks for a signal

/// Holds the signals that ask the program to end back while it lives.
class HeldSignals {
 public:
  HeldSignals() {
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

  /// The one that has come; 0 for none.
  static int pending() {
    sigset_t waiting;
    sigpending(&waiting);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
      if (sigismember(&waiting, signal) == 1) return signal;
    return 0;
  }

  /// Ends the program by the signal, as it would have ended when it came.
  [[noreturn]] static void endBy(int signal) {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    sigaction(signal, &usual, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    std::abort();  // it is delivered before
  }

 private:
  sigset_t signals{};
  sigset_t before{};
};

/// A file that is removed again unless it is put in its place.
class NewFile {
 public:
  explicit NewFile(const std::string& target)
      : name(target + ".XXXXXX"), descriptor(mkostemp(name.data(), O_CLOEXEC)) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    close(descriptor);
    if (!name.empty()) unlink(name.c_str());
  }

  int fd() const { return descriptor; }

  void moveTo(const std::string& target) {
    if (fsync(descriptor) != 0 || std::rename(name.c_str(), target.c_str()) != 0)
      throw std::system_error(errno, std::generic_category());
    name.clear();
  }

  void remove() {
    unlink(name.c_str());
    name.clear();
  }

 private:
  std::string name;
  const int descriptor;
};

void writePart(int descriptor, std::string_view part) {
  while (!part.empty()) {
    const ssize_t count = ::write(descriptor, part.data(), part.size());
    if (count < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category());
    if (count > 0) part.remove_prefix(static_cast<std::size_t>(count));
  }
}

mode_t usualMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

void replaceFile(const std::string& target, mode_t mode, std::string_view text) {
  const HeldSignals signals;
  NewFile file(target);
  fchmod(file.fd(), mode);
  for (; !text.empty(); text.remove_prefix(std::min(kPart, text.size()))) {
    writePart(file.fd(), text.substr(0, kPart));
    if (const int signal = HeldSignals::pending(); signal != 0) {
      file.remove();
      HeldSignals::endBy(signal);
    }
  }
  file.moveTo(target);
}

void writeInPlace(const std::string& path, std::string_view text) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category());
  try {
    writePart(descriptor, text);
  } catch (...) {
    close(descriptor);
    throw;
  }
  close(descriptor);
}

void write(const std::string& path, const std::string& text) {
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) throw std::system_error(EISDIR, std::generic_category());
  if (exists && !S_ISREG(status.st_mode)) return writeInPlace(path, text);
  // A link stays, and what it leads to is replaced.
  const std::string target = exists ? std::filesystem::canonical(path).string() : path;
  replaceFile(target, exists ? status.st_mode & 07777 : usualMode(), text);
}

}  // namespace

void writeOutputFile(const std::string& path, const std::string& text) {
  try {
    write(path, text);
  } catch (const std::system_error& error) {
    throw outputs::OutputError(tables::printable(path) + ": " + std::strerror(error.code().value()));
  }
}

bool isSameFile(const std::string& one, const std::string& other) {
  std::error_code ignored;
  return std::filesystem::equivalent(one, other, ignored);
}

}  // namespace vantor::cli
