#pragma once

namespace vantor::cli {

/// Turns the signals that ask a program to end into something that can be waited for. Make it before any thread is
/// started: threads inherit that these signals are blocked.
class Signals {
 public:
  Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;
  ~Signals();

  /// Readable, in the sense of poll(2), once the program is to end.
  int fd() const { return descriptor; }

 private:
  int descriptor;
};

}  // namespace vantor::cli
