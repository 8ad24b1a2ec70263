#pragma once

#include <cstddef>
#include <cstdint>

/// The arithmetic of the classic pacing: which rate and which distance of packets a stream's content asks for. What
/// is rounded how, what overflows in 32 bits and what has one added is kept for compatibility, in one place.

namespace vantor::classic {

/// How fast one table is sent that is repeated by itself.
struct TablePace {
  unsigned int bitrate = 0;    ///< bit/s
  std::uint64_t interval = 0;  ///< ns from packet to packet
};

/// The pace at which `bytes` of packets leave once in `period` ms; none without one of them.
[[nodiscard]] TablePace tablePace(std::size_t bytes, unsigned int period);

/// The rate in bit/s of a subtable of so many bytes of packets; at least 1 unless the period is 0.
[[nodiscard]] unsigned int subtableBitrate(std::size_t bytes, unsigned int period);

/// ns between the packets of a carousel whose subtables have this bitrate together, 0 without a rate.
[[nodiscard]] std::uint64_t carrouselInterval(unsigned int bitrate);

/// ns between the packets of a queue, to the nearest; 0 without a rate.
[[nodiscard]] std::uint64_t queueInterval(unsigned int bitrate);

/// The rate in bit/s at which the time tables, so many bytes of packets, take one period of ms.
[[nodiscard]] unsigned int timeTablesRate(std::size_t bytes, unsigned int period);

/// The rate in bit/s at which a set of EMMs, so many bytes of packets, leaves within `spreading` ms.
[[nodiscard]] unsigned int emmRate(std::size_t bytes, unsigned int spreading);

}  // namespace vantor::classic
