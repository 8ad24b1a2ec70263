#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "programs/inputs/ByteSource.h"

namespace vantor::inputs {

/// Bytes whose beginning can be looked at before it is read.
class PeekedBytes final : public ByteSource {
 public:
  PeekedBytes(std::unique_ptr<ByteSource> from, Deadline until) : from(std::move(from)), until(until) {}

  /// The first `size` bytes that are not yet read, fewer only where the input ends before, or the wait for it.
  std::string_view peek(std::size_t size);

  std::optional<std::size_t> read(char* to, std::size_t size, Deadline deadline) override;
  std::optional<double> progress() const override { return from->progress(); }
  std::string note() const override { return from->note(); }

 private:
  const std::unique_ptr<ByteSource> from;
  const Deadline until;  // for the look ahead
  std::string ahead;
};

}  // namespace vantor::inputs
