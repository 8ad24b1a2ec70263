#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/servicemux/doubles/Waits.h"

/// Keeps what streams were asked and what they gave as one number for each stretch of steps, so that a recording of
/// a long run is small and tells where a run left it.
class Recorder {
 public:
  explicit Recorder(time_point start) : start(start) {}

  /// One question to a stream, and its answer.
  void asked(unsigned int stream, time_point now, time_point next, bool gave, const signed char* packet);

  /// Ends a stretch.
  void endStretch() { stretches.push_back(digest); }

  [[nodiscard]] const std::vector<std::uint64_t>& digests() const { return stretches; }
  [[nodiscard]] std::uint64_t packets() const { return given; }

 private:
  void add(std::uint64_t value);

  const time_point start;
  std::uint64_t digest = 0xCBF29CE484222325;  // FNV-1a
  std::uint64_t given = 0;
  std::vector<std::uint64_t> stretches;
};
