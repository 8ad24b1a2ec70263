#include "tests/servicemux/doubles/SendCalls.h"

#include <sys/socket.h>

#include <cstring>
#include <mutex>

#include "tests/servicemux/doubles/nextFunction.h"

namespace {

// Guarded by mutex.
std::mutex mutex;
bool recording = false;
std::vector<SendCalls::Call> calls;

}  // namespace

SendCalls::SendCalls() {
  const std::lock_guard lock(mutex);
  calls.clear();
  recording = true;
}

SendCalls::~SendCalls() {
  const std::lock_guard lock(mutex);
  recording = false;
}

std::vector<SendCalls::Call> SendCalls::made() const {
  const std::lock_guard lock(mutex);
  return calls;
}

extern "C" ssize_t sendto(int socket, const void* data, std::size_t size, int flags, const sockaddr* destination,
                          socklen_t length) {
  static const auto real =
      nextFunction<ssize_t(int, const void*, std::size_t, int, const sockaddr*, socklen_t)>("sendto");
  {
    const std::lock_guard lock(mutex);
    if (recording) {
      SendCalls::Call call{socket, flags, std::string(static_cast<const char*>(data), size), {}, length};
      std::memcpy(&call.destination, destination, sizeof call.destination);
      calls.push_back(call);
      return static_cast<ssize_t>(size);
    }
  }
  return real(socket, data, size, flags, destination, length);
}
