#include "servicemux/muxer/classicRates.h"

#include "interface/psi/packet.h"
#include "servicemux/muxer/packetTime.h"

namespace vantor::classic {

namespace {

constexpr std::uint64_t kNanosecondsPerMillisecond = 1000000;
constexpr std::uint64_t kNanosecondsTimesBps = std::uint64_t{1000} * kNanosecondsTimesKbps;
constexpr std::uint32_t kBitsTimesMilliseconds = 8000;  // 8 bits a byte, 1000 ms a second

std::uint32_t in32Bits(std::size_t bytes) { return static_cast<std::uint32_t>(bytes); }

/// One more than the bits per second of one sending a period.
unsigned int rateAndOne(std::size_t bytes, unsigned int period) {
  return (kBitsTimesMilliseconds * in32Bits(bytes) + period) / period;
}

}  // namespace

TablePace tablePace(std::size_t bytes, unsigned int period) {
  if (bytes == 0 || period == 0) return {};
  const std::uint32_t packetPeriods = static_cast<std::uint32_t>(kPacketSize) * period;
  return {in32Bits(bytes) * kBitsTimesMilliseconds / period,
          packetPeriods * kNanosecondsPerMillisecond / in32Bits(bytes)};
}

unsigned int subtableBitrate(std::size_t bytes, unsigned int period) {
  return period == 0 ? 0 : rateAndOne(bytes, period);
}

std::uint64_t carrouselInterval(unsigned int bitrate) { return bitrate == 0 ? 0 : kNanosecondsTimesBps / bitrate; }

std::uint64_t queueInterval(unsigned int bitrate) {
  return bitrate == 0 ? 0 : (kNanosecondsTimesBps + bitrate / 2) / bitrate;
}

unsigned int timeTablesRate(std::size_t bytes, unsigned int period) { return rateAndOne(bytes, period); }

unsigned int emmRate(std::size_t bytes, unsigned int spreading) {
  return kBitsTimesMilliseconds * in32Bits(bytes) / spreading;
}

}  // namespace vantor::classic
