#include "programs/inputs/PeekedBytes.h"

#include <algorithm>

namespace vantor::inputs {

std::string_view PeekedBytes::peek(std::size_t size) {
  while (ahead.size() < size) {
    const std::size_t before = ahead.size();
    ahead.resize(size);
    const auto count = from->read(ahead.data() + before, size - before, until);
    ahead.resize(before + count.value_or(0));
    if (count.value_or(0) == 0) break;
  }
  return std::string_view(ahead).substr(0, size);
}

std::optional<std::size_t> PeekedBytes::read(char* to, std::size_t size, Deadline deadline) {
  if (ahead.empty()) return from->read(to, size, deadline);
  const std::size_t count = ahead.copy(to, size);
  ahead.erase(0, count);
  return count;
}

}  // namespace vantor::inputs
