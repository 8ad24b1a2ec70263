#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "interface/psi/packet.h"
#include "programs/tables/descriptors/bytes.h"

/// The fields of a whole packet, ISO/IEC 13818-1 clauses 2.4.3.2 and 2.4.3.4.

namespace vantor::monitor {

/// Where a PCR stands where there is one, and how often it ticks.
constexpr std::size_t kPcrOffset = 6;
constexpr std::size_t kPcrSize = 6;
constexpr std::int64_t kPcrFrequency = 27000000;                   // Hz
constexpr std::int64_t kPcrRange = (std::int64_t{1} << 33) * 300;  // it begins anew there

inline std::uint16_t pidOf(std::string_view packet) { return tables::pidAt(packet, 1); }

inline int counterOf(std::string_view packet) {
  return tables::byteAt(packet, kContinuityOffset) & kContinuityMask;
}

inline bool hasTransportError(std::string_view packet) {
  return (tables::byteAt(packet, 1) & kTransportError) != 0;
}

inline bool isScrambled(std::string_view packet) {
  return (tables::byteAt(packet, kContinuityOffset) & kScramblingControl) != 0;
}

inline bool hasPayload(std::string_view packet) {
  return (tables::byteAt(packet, kContinuityOffset) & kPayloadFlag) != 0;
}

/// The flags of the adaptation field, 0 where there are none.
inline std::uint8_t adaptationFlags(std::string_view packet) {
  const bool hasField = (tables::byteAt(packet, kContinuityOffset) & kAdaptationFieldFlag) != 0;
  return hasField && tables::byteAt(packet, kPacketHeaderSize) > 0 ? tables::byteAt(packet, kPacketHeaderSize + 1)
                                                                   : 0;
}

inline bool isDiscontinuityIndicated(std::string_view packet) {
  return (adaptationFlags(packet) & kDiscontinuity) != 0;
}

/// In ticks of 27 MHz.
inline std::optional<std::int64_t> pcrOf(std::string_view packet) {
  constexpr std::uint8_t kPcrFlag = 0x10;
  constexpr std::size_t kLeastLength = 1 + kPcrSize;
  if ((adaptationFlags(packet) & kPcrFlag) == 0 || tables::byteAt(packet, kPacketHeaderSize) < kLeastLength)
    return std::nullopt;
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < kPcrSize; ++i) bits = bits << 8 | tables::byteAt(packet, kPcrOffset + i);
  // 33 bits of 90 kHz, 6 reserved ones, 9 bits of 27 MHz.
  return static_cast<std::int64_t>((bits >> 15) * 300 + (bits & 0x1FF));
}

}  // namespace vantor::monitor
