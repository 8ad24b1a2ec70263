#pragma once

#include <memory>
#include <string>

#include "programs/inputs/ByteSource.h"
#include "programs/inputs/InputOptions.h"
#include "programs/inputs/PacketSource.h"

namespace vantor::inputs {

/// An input, and what it has turned out to hold.
struct Content {
  enum class Kind { packets, sections, json };

  Kind kind;
  std::unique_ptr<PacketSource> packets;  ///< of a transport stream only
  std::unique_ptr<ByteSource> bytes;      ///< else: what is left when a compression is taken off
};

/// Opens an input like open(), but also sections that lie back to back and JSON.
Content openContent(const std::string& input, const InputOptions& options = {});

/// What the bytes `from` there hold; `input` is what they are called.
Content contentOf(std::unique_ptr<ByteSource> from, const std::string& input, const InputOptions& options = {});

/// All bytes of a source.
std::string readAll(ByteSource& bytes);

}  // namespace vantor::inputs
