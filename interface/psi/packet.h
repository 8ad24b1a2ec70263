#pragma once

#include <cstddef>

/// The layout of a transport-stream packet, ISO/IEC 13818-1 clause 2.4.3.2.

namespace vantor {

constexpr std::size_t kPacketSize = 188;
constexpr std::size_t kPacketHeaderSize = 4;
constexpr unsigned char kSyncByte = 0x47;
constexpr unsigned char kStuffing = 0xFF;

/// Byte 1: transport_error_indicator and payload_unit_start_indicator beside the high bits of the PID.
constexpr unsigned char kTransportError = 0x80;
constexpr unsigned char kPayloadUnitStart = 0x40;

/// Byte 3: scrambling control, adaptation_field_control and continuity_counter.
constexpr std::size_t kContinuityOffset = 3;
constexpr unsigned char kContinuityMask = 0x0F;
constexpr unsigned char kScramblingControl = 0xC0;
constexpr unsigned char kAdaptationFieldFlag = 0x20;
constexpr unsigned char kPayloadFlag = 0x10;

/// The byte behind adaptation_field_length.
constexpr unsigned char kDiscontinuity = 0x80;

}  // namespace vantor
