#include "tests/programs/captures.h"

#include <memory>

#include "programs/inputs/StreamPackets.h"
#include "tests/programs/inputs/MemoryBytes.h"

namespace vantor::tables {

Capture readTransportStream(const std::string& bytes) {
  inputs::StreamPackets packets(std::make_unique<testing::MemoryBytes>(bytes));
  return readTransportStream(packets);
}

}  // namespace vantor::tables
