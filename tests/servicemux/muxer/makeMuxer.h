#pragma once

#include <memory>

#include "servicemux/muxer/VBRmuxer.h"
#include "tests/servicemux/doubles/Sender.h"

/// A muxer whose datagrams nobody looks at.
inline std::shared_ptr<vantor::VBRmuxer> makeMuxer() {
  static Sender nowhere;
  return std::make_shared<vantor::VBRmuxer>(nowhere, 1024, 7);
}
