#pragma once

#include "interface/psi/packet.h"

namespace vantor {

/// ns that a packet takes at 1 kbit/s; divided by a rate in kbit/s, those that it takes at that rate.
constexpr unsigned int kNanosecondsTimesKbps = 8 * static_cast<unsigned int>(kPacketSize) * 1000000;

}  // namespace vantor
