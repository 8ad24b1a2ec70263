#pragma once

#include <zlib.h>

#include <array>
#include <memory>

#include "programs/inputs/ByteSource.h"

namespace vantor::inputs {

/// What gzip data hold, RFC 1952, with any number of members. Data that break off or are damaged give what comes
/// before the fault, and a note.
class GzipBytes final : public ByteSource {
 public:
  explicit GzipBytes(std::unique_ptr<ByteSource> from);
  GzipBytes(const GzipBytes&) = delete;
  GzipBytes& operator=(const GzipBytes&) = delete;
  ~GzipBytes() override;

  std::optional<std::size_t> read(char* to, std::size_t size, Deadline deadline) override;
  std::optional<double> progress() const override { return from->progress(); }
  std::string note() const override { return fault; }

 private:
  bool endsHere(int result);

  const std::unique_ptr<ByteSource> from;
  z_stream stream{};
  std::array<char, 1 << 16> packed;
  bool withinMember = false;
  bool ended = false;
  std::string fault;
};

}  // namespace vantor::inputs
