#pragma once

namespace vantor::cli {

/// What a signal asks for.
enum class Request { kNothing, kReload, kEnd };

/// Turns the signals that ask a program to end, or to read its files anew, into something that can be waited for.
/// Make it before any thread is started: threads inherit that these signals are blocked.
class Signals {
 public:
  Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;
  ~Signals();

  /// Readable, in the sense of poll(2), once something is asked for.
  int fd() const { return descriptor; }

  /// Takes what is asked for; does not wait. To end comes before all else.
  Request take() const;

 private:
  int descriptor;
};

}  // namespace vantor::cli
