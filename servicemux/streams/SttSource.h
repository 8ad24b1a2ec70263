#pragma once

#include "servicemux/muxer/UtcSecond.h"

namespace vantor {

/// Makes the packet of a subtable that is built when it is sent, such as the ATSC system time table.
class SttSource : public UtcSecond {
 public:
  /// Writes one whole packet (188 bytes); its continuity counter does not matter. Producer thread, with the
  /// carousel's mutex held.
  virtual void fillSTTData(unsigned char* packet) = 0;

 protected:
  ~SttSource() = default;  // nobody owns it through this
};

}  // namespace vantor
