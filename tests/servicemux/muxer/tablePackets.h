#pragma once

#include <string>
#include <vector>

#include "tests/servicemux/packets.h"

/// The packets of a table that has sections of so many packets each, with a long header and nothing in them. The
/// last byte of each packet is its number in its section.
inline std::string makeTable(unsigned short pid, unsigned char table_id, unsigned char extension,
                             const std::vector<int>& sections) {
  std::string packets;
  for (std::size_t section = 0; section < sections.size(); ++section)
    for (int i = 0; i < sections[section]; ++i) {
      std::string packet = makePacket(pid, 0, vantor::kStuffing);
      if (i == 0) {
        packet[1] = static_cast<char>(byteAt(packet, 1) | vantor::kPayloadUnitStart);
        const int length = 170 + (sections[section] - 1) * 184;
        const std::string head{'\0',
                               static_cast<char>(table_id),
                               static_cast<char>(0xB0 | length >> 8),
                               static_cast<char>(length),
                               '\0',
                               static_cast<char>(extension),
                               '\x01',
                               static_cast<char>(section),
                               static_cast<char>(sections.size() - 1)};
        packet.replace(vantor::kPacketHeaderSize, head.size(), head);
      }
      packet.back() = static_cast<char>(i);
      packets += packet;
    }
  return packets;
}
