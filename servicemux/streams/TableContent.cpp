#include "servicemux/streams/TableContent.h"

#include <cstring>

#include "interface/psi/packet.h"

namespace vantor {

void TableContent::swap(std::string& newPackets) {
  packets.swap(newPackets);
  readOffset = 0;
}

void TableContent::clear() {
  packets.clear();
  readOffset = 0;
}

bool TableContent::beginsSection() const {
  return (static_cast<unsigned char>(packets[readOffset + 1]) & kPayloadUnitStart) != 0;
}

void TableContent::take(signed char* packet) {
  std::memcpy(packet, packets.data() + readOffset, kPacketSize);
  readOffset += kPacketSize;
  if (readOffset >= packets.size()) readOffset = 0;
}

}  // namespace vantor
