#include "servicemux/muxer/SocketSink.h"

#include <netinet/in.h>

namespace vantor {

ssize_t SocketSink::send(const void* datagram, std::size_t size) {
  return ::sendto(socket, datagram, size, 0, destination, sizeof(sockaddr_in));
}

}  // namespace vantor
