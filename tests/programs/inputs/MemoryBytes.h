#pragma once

#include <algorithm>
#include <string>

#include "programs/inputs/ByteSource.h"

namespace vantor::testing {

/// Bytes from memory, in parts as a pipe may give them.
class MemoryBytes final : public inputs::ByteSource {
 public:
  explicit MemoryBytes(std::string bytes, std::size_t part = 1000) : bytes(std::move(bytes)), part(part) {}

  std::optional<std::size_t> read(char* to, std::size_t size, inputs::Deadline /*deadline*/) override {
    const std::size_t count = bytes.copy(to, std::min(size, part), at);
    at += count;
    return count;
  }
  std::optional<double> progress() const override {
    return bytes.empty() ? 1.0 : static_cast<double>(at) / static_cast<double>(bytes.size());
  }

 private:
  const std::string bytes;
  const std::size_t part;
  std::size_t at = 0;
};

}  // namespace vantor::testing
