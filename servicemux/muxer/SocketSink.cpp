#include "servicemux/muxer/SocketSink.h"

#include <netinet/in.h>

#include <algorithm>
#include <array>

namespace vantor {

namespace {

constexpr std::size_t kAtOnce = 32;  // datagrams of one call

}  // namespace

ssize_t SocketSink::send(const void* datagram, std::size_t size) {
  return ::sendto(socket, datagram, size, 0, destination, sizeof(sockaddr_in));
}

std::size_t SocketSink::sendAll(const Datagram* first, const Datagram* last) {
  std::array<iovec, kAtOnce> bytes{};
  std::array<mmsghdr, kAtOnce> messages{};
  const auto count = std::min(static_cast<std::size_t>(last - first), kAtOnce);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = {const_cast<void*>(first[i].bytes), first[i].size};  // is only read
    messages[i].msg_hdr.msg_name = const_cast<sockaddr*>(destination);
    messages[i].msg_hdr.msg_namelen = sizeof(sockaddr_in);
    messages[i].msg_hdr.msg_iov = &bytes[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
  return static_cast<std::size_t>(
      std::max(0, ::sendmmsg(socket, messages.data(), static_cast<unsigned>(count), 0)));
}

}  // namespace vantor
