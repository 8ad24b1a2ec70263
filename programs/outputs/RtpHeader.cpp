#include "programs/outputs/RtpHeader.h"

#include <random>

namespace vantor::outputs {

namespace {

constexpr std::uint8_t kVersion = 2 << 6;  // no padding, no extension, no CSRC
constexpr std::uint8_t kMp2t = 33;         // RFC 3551 table 5
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 90000>>;

std::uint32_t random() { return std::random_device()(); }

}  // namespace

RtpHeader::RtpHeader()
    : sequence(static_cast<std::uint16_t>(random())), timestampOffset(random()), ssrc(random()) {}

RtpHeader::Bytes RtpHeader::at(Clock::time_point now, std::size_t ahead) const {
  const auto number = static_cast<std::uint16_t>(sequence + ahead);
  const auto ticks = std::chrono::duration_cast<Ticks>(now.time_since_epoch()).count();
  const auto time = static_cast<std::uint32_t>(ticks) + timestampOffset;
  const auto byte = [](std::uint32_t value, unsigned shift) { return static_cast<std::uint8_t>(value >> shift); };
  return {kVersion,      kMp2t,         byte(number, 8), byte(number, 0), byte(time, 24), byte(time, 16),
          byte(time, 8), byte(time, 0), byte(ssrc, 24),  byte(ssrc, 16),  byte(ssrc, 8),  byte(ssrc, 0)};
}

}  // namespace vantor::outputs
