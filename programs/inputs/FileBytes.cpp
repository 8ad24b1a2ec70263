#include "programs/inputs/FileBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "programs/inputs/waitReadable.h"
#include "programs/tables/json/InputError.h"

namespace vantor::inputs {

namespace {

constexpr const char* kStdin = "-";

}  // namespace

FileBytes::FileBytes(const std::string& path, int wakeFd)
    : name(path == kStdin ? "stdin" : tables::printable(path)),
      wakeFd(wakeFd),
      descriptor(path == kStdin ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor < 0) fail(errno);
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) size = status.st_size;
}

FileBytes::~FileBytes() {
  if (descriptor != STDIN_FILENO) close(descriptor);
}

std::optional<std::size_t> FileBytes::read(char* to, std::size_t room, Deadline deadline) {
  while (true) {
    // A regular file is always readable.
    if (size == 0 && !waitReadable(descriptor, wakeFd, deadline)) return std::nullopt;
    const ssize_t count = ::read(descriptor, to, room);
    if (count >= 0) {
      position += count;
      return static_cast<std::size_t>(count);
    }
    if (errno != EINTR && errno != EAGAIN) fail(errno);
  }
}

std::optional<double> FileBytes::progress() const {
  if (size == 0) return std::nullopt;
  return std::min(1.0, static_cast<double>(position) / static_cast<double>(size));
}

void FileBytes::fail(int error) const {
  throw tables::InputError(name + ": " + (error == EISDIR ? "is a directory" : std::strerror(error)));
}

}  // namespace vantor::inputs
