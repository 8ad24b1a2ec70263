#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace vantor::outputs {

/// The RTP headers (RFC 3550 clause 5.1, RFC 2250 clause 2) of one stream of datagrams: payload type 33, a
/// timestamp of 90 kHz, and a random SSRC. sequence_number and timestamp begin at random values too. For one
/// thread; allocates nothing.
class RtpHeader {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kSize = 12;  ///< bytes
  using Bytes = std::array<std::uint8_t, kSize>;

  RtpHeader();

  /// The header of the datagram that leaves at `now`, `ahead` datagrams after the next one.
  [[nodiscard]] Bytes at(Clock::time_point now, std::size_t ahead = 0) const;

  /// Goes on behind so many datagrams. Those that are lost count too: the receiver is to see the gap.
  void advance(std::size_t datagrams) { sequence = static_cast<std::uint16_t>(sequence + datagrams); }

 private:
  std::uint16_t sequence;
  const std::uint32_t timestampOffset;
  const std::uint32_t ssrc;
};

}  // namespace vantor::outputs
