#pragma once

#include <cstddef>
#include <string>

namespace vantor::testing {

/// What a terminal shows of a line.
inline std::string withoutStyles(const std::string& line) {
  std::string out;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] == '\x1b')
      at = line.find('m', at);
    else
      out += line[at];
  }
  return out;
}

}  // namespace vantor::testing
