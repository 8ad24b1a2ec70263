#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace vantor::inputs {

using Deadline = std::chrono::steady_clock::time_point;

/// Where the bytes of an input come from: a file, a pipe, what a compressed one holds. One thread at a time.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Reads up to `size` bytes, at least one of them. Returns 0 at the end, none when there is nothing until the
  /// deadline or until the descriptor to wake by is readable. Throws InputError with the input's name in front.
  virtual std::optional<std::size_t> read(char* to, std::size_t size, Deadline deadline) = 0;

  /// How much is read, 0 to 1; none when the size is not known.
  virtual std::optional<double> progress() const = 0;

  /// Why there is no more although more was to come; empty when all was there.
  virtual std::string note() const { return ""; }
};

}  // namespace vantor::inputs
