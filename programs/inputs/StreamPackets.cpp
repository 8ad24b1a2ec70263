#include "programs/inputs/StreamPackets.h"

namespace vantor::inputs {

Read StreamPackets::read(Packet& packet, Deadline deadline) {
  while (!synchroniser.next(packet)) {
    if (ended) return Read::kEnd;
    const auto count = bytes->read(buffer.data(), buffer.size(), deadline);
    if (!count) return Read::kTimeout;
    synchroniser.append({buffer.data(), *count});
    if (*count != 0) continue;
    ended = true;
    synchroniser.finish();
  }
  return Read::kPacket;
}

std::vector<std::string> StreamPackets::notes() const {
  return bytes->note().empty() ? std::vector<std::string>{} : std::vector<std::string>{bytes->note()};
}

}  // namespace vantor::inputs
