#pragma once

#include <string>

namespace vantor::cli {

/// Takes what this process writes to stderr from now on, so that log lines and a block on the same terminal do not
/// run into each other. Whoever makes it must read() whenever there is something, or writers have to wait.
class StderrCapture {
 public:
  StderrCapture();
  StderrCapture(const StderrCapture&) = delete;
  StderrCapture& operator=(const StderrCapture&) = delete;
  /// Gives stderr back and writes there what has not been read.
  ~StderrCapture();

  /// Readable, in the sense of poll(2), when there is something.
  int fd() const { return readEnd; }
  /// What there is; does not wait.
  std::string read() const;

 private:
  int readEnd;
  int realStderr;
};

}  // namespace vantor::cli
