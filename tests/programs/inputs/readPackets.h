#pragma once

#include <vector>

#include "programs/inputs/PacketSource.h"

namespace vantor::testing {

/// The mark of a packet that markedPacket() has made.
inline unsigned markOf(const inputs::Packet& packet) {
  unsigned mark = 0;
  for (std::size_t i = 4; i < 8; ++i) mark = mark << 8 | packet.bytes[i];
  return mark;
}

/// The marks of all packets, up to the end.
inline std::vector<unsigned> marksOf(inputs::PacketSource& source) {
  std::vector<unsigned> marks;
  inputs::Packet packet;
  while (source.read(packet, std::chrono::steady_clock::time_point::max()) == inputs::Read::kPacket)
    marks.push_back(markOf(packet));
  return marks;
}

/// first, first + 1, ... last
inline std::vector<unsigned> marks(unsigned first, unsigned last) {
  std::vector<unsigned> all;
  for (unsigned mark = first; mark <= last; ++mark) all.push_back(mark);
  return all;
}

}  // namespace vantor::testing
