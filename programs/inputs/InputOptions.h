#pragma once

#include <chrono>
#include <string>

namespace vantor::inputs {

/// How to read an input. What does not concern it is ignored.
struct InputOptions {
  std::string interface;  ///< to join a multicast group on: its name or one of its addresses; empty: by the routes
  std::string stream;  ///< "ADDR:PORT" ("[ADDR]:PORT" for IPv6) to read of a capture of a network; empty: the first
  /// How long open() waits for the first bytes of a pipe, which tell what it is.
  std::chrono::steady_clock::time_point openUntil = std::chrono::steady_clock::time_point::max();
  int wakeFd = -1;  ///< once readable, in the sense of poll(2), a read that waits ends with kTimeout; -1 for none
};

}  // namespace vantor::inputs
