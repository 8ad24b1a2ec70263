#pragma once

#include <string>

#include "programs/tables/sets/Capture.h"

namespace vantor::tables {

/// Reads the packets in these bytes, and what lies between them.
Capture readTransportStream(const std::string& bytes);

}  // namespace vantor::tables
