#pragma once

/// The scrambler types that carry CA messages; any other carries none.

namespace vantor {

constexpr int kFixedPids = 0;
constexpr int kSimulcrypt = 3;

}  // namespace vantor
