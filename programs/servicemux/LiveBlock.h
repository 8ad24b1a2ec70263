#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vantor::cli {

/// A block at the bottom of a terminal that is drawn again and again in place, with a log above it.
class LiveBlock {
 public:
  /// Bytes for the terminal that replace the block last drawn by `log` (lines, or nothing) and then `lines`.
  std::string draw(const std::vector<std::string>& lines, const std::string& log = "");
  /// Bytes that leave the block where it is and the cursor visible below it.
  std::string end();

 private:
  std::size_t height = 0;  // of the block on the screen
};

}  // namespace vantor::cli
