#pragma once

#include <string>

namespace vantor::inputs {

/// The index of the network interface with this name or this address; 0 when there is none.
unsigned int interfaceIndex(const std::string& nameOrAddress);

}  // namespace vantor::inputs
