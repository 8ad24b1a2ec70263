#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

namespace vantor::outputs {

/// An address of either family. The largest comes first, so that {} makes all of it zero.
union SocketAddress {
  sockaddr_in6 ipv6;
  sockaddr_in ipv4;
  sockaddr generic;
};

[[nodiscard]] socklen_t sizeOf(const SocketAddress& address);

/// 224.0.0.0/4 and ff00::/8 are multicast.
[[nodiscard]] bool isMulticast(const SocketAddress& address);

/// Whether the address, one of a group included, means another machine on each link: it needs an interface.
[[nodiscard]] bool isLinkLocal(const SocketAddress& address);

/// An interface of this machine as it is at the moment; its index is another one when it has been made anew.
struct NetworkInterface {
  std::string name;
  unsigned int index = 0;
  std::optional<SocketAddress> address;  ///< the one it was found by, with port 0; none when it was its name

  /// Looks for an interface by its name, or by one of its addresses. Throws OutputError when there is none.
  [[nodiscard]] static NetworkInterface find(const std::string& nameOrAddress);

  /// Where from to send to `destination`, with port 0: the address it was found by if that is of the same family,
  /// else the first one that suits. None when the interface has none.
  [[nodiscard]] std::optional<SocketAddress> sourceFor(const SocketAddress& destination) const;
};

}  // namespace vantor::outputs
