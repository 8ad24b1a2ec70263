#include "programs/outputs/UdpSocket.h"

#include <fcntl.h>
#include <netdb.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "programs/outputs/OutputError.h"

namespace vantor::outputs {

namespace {

constexpr int kFlags = MSG_DONTWAIT | MSG_NOSIGNAL;
constexpr int kTries = 3;
constexpr unsigned int kDscpShift = 2;  // the two bits below are ECN's

[[noreturn]] void fail(const std::string& what) { throw OutputError(what + std::strerror(errno)); }

std::vector<SocketAddress> resolve(const Destination& destination) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(destination.host.c_str(), destination.port.c_str(), &hints, &found);
  if (error != 0) throw OutputError(error == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(error));
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
  std::vector<SocketAddress> addresses;
  for (; found != nullptr; found = found->ai_next) {
    if (found->ai_family != AF_INET && found->ai_family != AF_INET6) continue;
    std::memcpy(&addresses.emplace_back(), found->ai_addr, found->ai_addrlen);
  }
  return addresses;
}

void set(const Descriptor& socket, int level, int option, int value, const char* name) {
  if (setsockopt(socket.get(), level, option, &value, sizeof value) != 0) fail(name + std::string(": "));
}

void setTtl(const Descriptor& socket, const SocketAddress& to, unsigned int ttl) {
  const int hops = static_cast<int>(ttl);
  if (to.generic.sa_family == AF_INET)
    set(socket, IPPROTO_IP, isMulticast(to) ? IP_MULTICAST_TTL : IP_TTL, hops, "TTL");
  else
    set(socket, IPPROTO_IPV6, isMulticast(to) ? IPV6_MULTICAST_HOPS : IPV6_UNICAST_HOPS, hops, "hop limit");
}

void setDscp(const Descriptor& socket, const SocketAddress& to, unsigned int dscp) {
  const int value = static_cast<int>(dscp << kDscpShift);
  if (to.generic.sa_family == AF_INET)
    set(socket, IPPROTO_IP, IP_TOS, value, "DSCP");
  else
    set(socket, IPPROTO_IPV6, IPV6_TCLASS, value, "DSCP");
}

void sendGroupsThrough(const Descriptor& socket, const NetworkInterface& interface, int family) {
  if (family == AF_INET6)
    return set(socket, IPPROTO_IPV6, IPV6_MULTICAST_IF, static_cast<int>(interface.index), "IPV6_MULTICAST_IF");
  ip_mreqn request{};
  request.imr_ifindex = static_cast<int>(interface.index);
  if (interface.address && interface.address->generic.sa_family == AF_INET)
    request.imr_address = interface.address->ipv4.sin_addr;
  if (setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request) != 0)
    fail("IP_MULTICAST_IF: ");
}

/// Has the socket send from an address of the interface, which `to` may need a scope from.
void tie(const Descriptor& socket, const NetworkInterface& interface, SocketAddress& to) {
  const int family = to.generic.sa_family;
  if (isLinkLocal(to) && to.ipv6.sin6_scope_id == 0) to.ipv6.sin6_scope_id = interface.index;
  const bool isGroup = isMulticast(to);
  if (isGroup) sendGroupsThrough(socket, interface, family);
  const bool wantsSource = !isGroup || (interface.address && interface.address->generic.sa_family == family);
  if (!wantsSource) return;
  const auto source = interface.sourceFor(to);
  if (!source)
    throw OutputError(family == AF_INET ? "it has no IPv4 address" : "it has no IPv6 address that suits");
  if (bind(socket.get(), &source->generic, sizeOf(*source)) != 0) fail("bind: ");
}

Descriptor open(SocketAddress to, const SocketOptions& options) {
  Descriptor socket(::socket(to.generic.sa_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (socket.get() < 0) fail("");
  if (options.ttl != 0) setTtl(socket, to, options.ttl);
  if (options.dscp != 0) setDscp(socket, to, options.dscp);
  if (!options.interface.empty()) tie(socket, NetworkInterface::find(options.interface), to);
  if (isLinkLocal(to) && to.ipv6.sin6_scope_id == 0)
    throw OutputError("a link-local address needs the interface that it is meant for");
  if (connect(socket.get(), &to.generic, sizeOf(to)) != 0) fail("");
  return socket;
}

}  // namespace

UdpSocket::UdpSocket(const Destination& destination, SocketOptions options)
    : options(std::move(options)), socket(openFirst(resolve(destination))) {}

Descriptor UdpSocket::openFirst(const std::vector<SocketAddress>& candidates) {
  std::optional<OutputError> failure;
  for (const SocketAddress& candidate : candidates) {
    try {
      address = candidate;
      return open(candidate, options);
    } catch (const OutputError& error) {
      if (!failure) failure = error;
    }
  }
  throw failure ? *failure : OutputError("it has no address");
}

/// A connected socket tells of an earlier datagram that the network has sent back by failing once, and has not
/// looked at the next one then. So an error counts when it stays.
UdpSocket::Result UdpSocket::send(mmsghdr* messages, std::size_t count) const {
  Result result;
  for (int tries = 0; tries < kTries; ++tries) {
    const int sent = ::sendmmsg(socket.get(), messages, static_cast<unsigned>(count), kFlags);
    if (sent > 0) return {static_cast<std::size_t>(sent), 0, result.wasRefused};
    result.error = errno;
    if (result.error == ECONNREFUSED) result.wasRefused = true;
    if (result.error == EAGAIN || result.error == ENOBUFS) break;  // of this datagram, and for some time
  }
  return result;
}

/// The new socket takes the old one's place behind the same number in one step: whoever sends meanwhile does it
/// through the one or the other, and needs no lock.
void UdpSocket::reopen() const {
  try {
    const Descriptor fresh = open(address, options);
    dup3(fresh.get(), socket.get(), O_CLOEXEC);
  } catch (const OutputError&) {
    return;  // what fails is known already, to whoever sends
  }
}

}  // namespace vantor::outputs
