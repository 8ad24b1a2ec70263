#pragma once

#include <memory>

#include "programs/inputs/ByteSource.h"
#include "programs/inputs/PacketSource.h"
#include "programs/inputs/Synchroniser.h"

namespace vantor::inputs {

/// The packets of a transport stream that is nothing but packets, with whatever came in between.
class StreamPackets final : public PacketSource {
 public:
  explicit StreamPackets(std::unique_ptr<ByteSource> bytes) : bytes(std::move(bytes)) {}

  Read read(Packet& packet, Deadline deadline) override;
  const InputCounts& counts() const override { return found; }
  std::vector<std::string> notes() const override;
  std::optional<double> progress() const override { return bytes->progress(); }

 private:
  const std::unique_ptr<ByteSource> bytes;
  InputCounts found;
  Synchroniser synchroniser{found};
  bool ended = false;
  std::array<char, 1 << 16> buffer;
};

}  // namespace vantor::inputs
