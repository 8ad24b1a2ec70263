#pragma once

/// Modified Julian Dates, in which the standards count days: EN 300 468 annex C.

namespace vantor {

/// 1970-01-01.
constexpr int kMjdOfPosixEpoch = 40587;

}  // namespace vantor
