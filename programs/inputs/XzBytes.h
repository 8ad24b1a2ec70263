#pragma once

#include <lzma.h>

#include <array>
#include <memory>

#include "programs/inputs/ByteSource.h"

namespace vantor::inputs {

/// What xz data hold, with any number of streams. Data that break off or are damaged give what comes before the
/// fault, and a note.
class XzBytes final : public ByteSource {
 public:
  explicit XzBytes(std::unique_ptr<ByteSource> from);
  XzBytes(const XzBytes&) = delete;
  XzBytes& operator=(const XzBytes&) = delete;
  ~XzBytes() override;

  std::optional<std::size_t> read(char* to, std::size_t size, Deadline deadline) override;
  std::optional<double> progress() const override { return from->progress(); }
  std::string note() const override { return fault; }

 private:
  bool endsHere(lzma_ret result);

  const std::unique_ptr<ByteSource> from;
  lzma_stream stream = LZMA_STREAM_INIT;
  std::array<std::uint8_t, 1 << 16> packed;
  bool allIsIn = false;  // the decoder has the last of the input
  bool ended = false;
  std::string fault;
};

}  // namespace vantor::inputs
