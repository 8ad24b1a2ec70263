#pragma once

#include <sys/socket.h>

#include "servicemux/export.h"
#include "servicemux/muxer/DatagramSink.h"

namespace vantor {

/// Sends to one IPv4 destination through a socket that somebody else has opened and will close.
class SERVICEMUX_API SocketSink final : public DatagramSink {
 public:
  /// A `socket` of -1 makes every send fail. `destination` is kept by pointer.
  SocketSink(int socket, const sockaddr* destination) : socket(socket), destination(destination) {}

  [[nodiscard]] ssize_t send(const void* datagram, std::size_t size) override;
  [[nodiscard]] std::size_t sendAll(const Datagram* first, const Datagram* last) override;

 private:
  const int socket;
  const sockaddr* const destination;
};

}  // namespace vantor
