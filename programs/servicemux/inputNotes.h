#pragma once

#include <string>
#include <vector>

#include "programs/inputs/PacketSource.h"

namespace vantor::cli {

/// What an input had besides whole packets, in words: one line for each kind of loss, nothing for an input in
/// order.
std::vector<std::string> inputNotes(const inputs::InputCounts& counts);

}  // namespace vantor::cli
