#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <string>
#include <vector>

#include "programs/outputs/Descriptor.h"
#include "programs/outputs/Destination.h"
#include "programs/outputs/NetworkInterface.h"

namespace vantor::outputs {

/// How packets are to leave.
struct SocketOptions {
  std::string interface;  ///< its name or one of its addresses; empty: the route decides
  unsigned int ttl = 0;   ///< or hop limit, 1 to 255; 0 for the system's: 1 for multicast, mostly 64 else
  unsigned int dscp = 0;  ///< 0 to 63, RFC 2474
};

/// A UDP socket that is connected to one destination, so that the kernel looks up the way only once and tells when
/// nobody listens there. Multicast leaves through the interface that was asked for; what is unicast gets that
/// interface's address as its source and goes where the route leads.
///
/// send() belongs to the packet path, reopen() to one other thread.
class UdpSocket {
 public:
  /// Looks the host up and opens the socket for the first of its addresses with which that can be done. Throws
  /// OutputError.
  UdpSocket(const Destination& destination, SocketOptions options);

  /// What came of datagrams that were to be sent.
  struct Result {
    std::size_t sent = 0;     ///< how many of the first ones have left
    int error = 0;            ///< why the next one has not; 0 when at least one has left
    bool wasRefused = false;  ///< an earlier one has come back: nobody listens at the destination's port
  };

  /// Sends one datagram or several. Never waits.
  [[nodiscard]] Result send(mmsghdr* messages, std::size_t count) const;

  /// Opens the socket anew, for the address of the beginning. What has the socket in use at this moment is not
  /// disturbed. Where that fails the socket stays as it is.
  void reopen() const;

 private:
  [[nodiscard]] Descriptor openFirst(const std::vector<SocketAddress>& candidates);

  const SocketOptions options;
  SocketAddress address{};  // constant after construction
  const Descriptor socket;
};

}  // namespace vantor::outputs
