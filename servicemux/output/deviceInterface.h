#pragma once

#include <cstdint>
#include <string>

#include "servicemux/export.h"

namespace vantor {

/// The interface that carries the multicast outputs of a VLAN, 1 to 3, on this module: "ethInt.100" for 1. Another
/// VLAN is an error in the log and "ethInt".
[[nodiscard]] SERVICEMUX_API std::string deviceInterface(std::int32_t vlan);

}  // namespace vantor
