#pragma once

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

namespace vantor::cli {

/// One line that says what long work is at: "reading capture.ts  [#####     ]  50 %  12 s left". Without a fraction
/// (0 to 1) there is no bar but the time so far. Never longer than `columns`.
std::string progressLine(const std::string& what, std::optional<double> fraction,
                         std::chrono::steady_clock::duration elapsed, std::size_t columns);

/// Keeps that line on a terminal while work goes on. Nothing is shown where stderr is no terminal, nor of work that
/// is done at once. Whoever writes to stderr in between calls clear() before. One thread at a time.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  /// `what` is what the work is at, `descriptor` where the line goes.
  explicit Progress(std::string what, int descriptor = STDERR_FILENO);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Takes the line away.
  ~Progress();

  /// Goes on to another step, which counts from 0 again.
  void step(std::string next);
  /// To be called often; draws a few times a second. `fraction` is none when it is not known.
  void update(std::optional<double> fraction);
  /// Takes the line away until the next update.
  void clear();

 private:
  void write(const std::string& text) const;

  std::string what;
  const int descriptor;
  const bool isTerminal;
  Clock::time_point start = Clock::now();
  Clock::time_point next;  // when to draw
  bool isDrawn = false;
};

}  // namespace vantor::cli
