#pragma once

#include <string>

#include "interface/psi/packet.h"

/// Transport-stream packets for tests, and what is in them.

inline unsigned char byteAt(const std::string& packet, std::size_t offset) {
  return static_cast<unsigned char>(packet.at(offset));
}

/// A packet with payload only, whose payload is all `fill`.
inline std::string makePacket(unsigned short pid, unsigned char cc, unsigned char fill = 0xAA) {
  std::string packet(vantor::kPacketSize, static_cast<char>(fill));
  packet[0] = static_cast<char>(vantor::kSyncByte);
  packet[1] = static_cast<char>(pid >> 8);
  packet[2] = static_cast<char>(pid & 0xFF);
  packet[3] = static_cast<char>(vantor::kPayloadFlag | cc);
  return packet;
}

inline unsigned short pidOf(const std::string& packet) {
  return static_cast<unsigned short>((byteAt(packet, 1) & 0x1F) << 8 | byteAt(packet, 2));
}

inline unsigned char counterOf(const std::string& packet) {
  return byteAt(packet, vantor::kContinuityOffset) & vantor::kContinuityMask;
}

inline bool startsPayloadUnit(const std::string& packet) {
  return (byteAt(packet, 1) & vantor::kPayloadUnitStart) != 0;
}
