#pragma once

#include <cstdint>

namespace vantor {

/// What a VBRmuxer has done since its construction; every count only grows.
struct MuxerStatistics {
  std::uint64_t packets = 0;         ///< packets the streams have given, sent or not
  std::uint64_t datagrams = 0;       ///< datagrams the sink took whole
  std::uint64_t bytesSent = 0;       ///< payload bytes of those datagrams
  std::uint64_t sendErrors = 0;      ///< datagrams lost because sending failed or fell short
  std::uint64_t ringFullSlots = 0;   ///< packet slots that passed unused because the ring was full
  std::uint64_t packetsOverrun = 0;  ///< unsent packets overwritten in the ring

  // Of this moment, with the timing of the standards; not counts.
  double required = 0;  ///< kbit/s that all on air needs at its periods
  double stretch = 1;   ///< by how much all periods are stretched, above 1 when that does not fit
};

}  // namespace vantor
