#pragma once

#include <cstdint>
#include <string>

#include "programs/outputs/Output.h"

namespace vantor::outputs {

/// Tells of one output's trouble when it begins and when it ends, each in one line, however many datagrams it
/// costs.
class OutputNews {
 public:
  /// What is new since the last call; empty when nothing is. `where` is the output's name in messages.
  std::string update(const std::string& where, const OutputStatus& now);

 private:
  int toldError = 0;              // 0 when it was last said to go well
  std::uint64_t lostBefore = 0;   // at the last call
  std::uint64_t lostAtStart = 0;  // when the trouble began
};

}  // namespace vantor::outputs
