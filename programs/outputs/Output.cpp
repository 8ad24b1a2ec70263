#include "programs/outputs/Output.h"

#include <cerrno>
#include <cstring>

namespace vantor::outputs {

bool isUnused(const OutputStatus& status) {
  return status.datagrams == 0 && (status.lost != 0 || status.error != 0 || status.isOver);
}

std::string reasonOf(int error) {
  switch (error) {
    case EAGAIN:
      return "it takes the packets too slowly";
    case EPIPE:
      return "its reader is gone";
    default:
      return std::strerror(error);
  }
}

OutputStatus Output::status() const {
  constexpr auto kOrder = std::memory_order_relaxed;
  return {datagrams.load(kOrder), bytes.load(kOrder),     lost.load(kOrder), refused.load(kOrder),
          error.load(kOrder),     lastError.load(kOrder), over.load(kOrder)};
}

void Output::countSent(std::size_t size) {
  datagrams.fetch_add(1, std::memory_order_relaxed);
  bytes.fetch_add(size, std::memory_order_relaxed);
  setError(0);
}

void Output::countLost(int reason, std::uint64_t count) {
  lost.fetch_add(count, std::memory_order_relaxed);
  setError(reason);
}

void Output::setError(int reason) {
  if (reason != 0) lastError.store(reason, std::memory_order_relaxed);
  error.store(reason, std::memory_order_relaxed);
}

}  // namespace vantor::outputs
