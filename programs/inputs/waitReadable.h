#pragma once

#include "programs/inputs/ByteSource.h"

namespace vantor::inputs {

/// Waits until `descriptor` has something to read or has ended. Returns false once the deadline has passed or
/// `wakeFd` (-1 for none) is readable before.
bool waitReadable(int descriptor, int wakeFd, Deadline deadline);

}  // namespace vantor::inputs
