#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <variant>

#include "programs/outputs/Destination.h"
#include "programs/outputs/NetworkInterface.h"

/// What the tests of outputs have in common.

namespace vantor::outputs::testing {

inline Destination destination(const std::string& text) { return std::get<Destination>(parseDestination(text)); }

/// A UDP socket on the loopback interface, of either family; of IPv4 it may be in a group.
class Ear {
 public:
  explicit Ear(int family, const std::string& group = "") : descriptor(socket(family, SOCK_DGRAM, 0)) {
    SocketAddress address{};
    address.generic.sa_family = static_cast<sa_family_t>(family);
    if (family == AF_INET)
      address.ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    else
      address.ipv6.sin6_addr = in6addr_loopback;
    if (!group.empty()) {
      ip_mreq membership{};
      inet_pton(AF_INET, group.c_str(), &membership.imr_multiaddr);
      membership.imr_interface.s_addr = htonl(INADDR_LOOPBACK);
      EXPECT_EQ(setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership), 0);
      address.ipv4.sin_addr = membership.imr_multiaddr;
    }
    socklen_t size = sizeOf(address);
    EXPECT_EQ(bind(descriptor, &address.generic, size), 0);
    EXPECT_EQ(getsockname(descriptor, &address.generic, &size), 0);
    const int port = ntohs(family == AF_INET ? address.ipv4.sin_port : address.ipv6.sin6_port);
    const std::string host = family == AF_INET ? "127.0.0.1" : "[::1]";
    target = (group.empty() ? host : group) + ":" + std::to_string(port);
  }
  Ear(const Ear&) = delete;
  Ear& operator=(const Ear&) = delete;
  ~Ear() { shut(); }

  void shut() {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
  }

  /// What has arrived; on the loopback interface that is what was sent before. Empty when there is nothing.
  std::string hear() const {
    std::string datagram(2048, '\0');
    const ssize_t size = recv(descriptor, datagram.data(), datagram.size(), MSG_DONTWAIT);
    datagram.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return datagram;
  }

  int descriptor;
  std::string target;  ///< "127.0.0.1:5004"
};

}  // namespace vantor::outputs::testing
