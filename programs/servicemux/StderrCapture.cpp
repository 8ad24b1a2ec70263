#include "programs/servicemux/StderrCapture.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>

namespace vantor::cli {

StderrCapture::StderrCapture() {
  std::array<int, 2> ends{};
  realStderr = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  if (realStderr < 0 || pipe2(ends.data(), O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  readEnd = ends[0];
  fcntl(readEnd, F_SETFL, O_NONBLOCK);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
}

StderrCapture::~StderrCapture() {
  dup2(realStderr, STDERR_FILENO);
  close(realStderr);
  std::cerr << read() << std::flush;
  close(readEnd);
}

std::string StderrCapture::read() const {
  std::string out;
  std::array<char, 4096> buffer;
  for (ssize_t count; (count = ::read(readEnd, buffer.data(), buffer.size())) > 0;)
    out.append(buffer.data(), static_cast<std::size_t>(count));
  return out;
}

}  // namespace vantor::cli
