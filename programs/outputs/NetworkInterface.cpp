#include "programs/outputs/NetworkInterface.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "programs/outputs/OutputError.h"

namespace vantor::outputs {

namespace {

using Addresses = std::unique_ptr<ifaddrs, decltype(&freeifaddrs)>;

Addresses allAddresses() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) throw OutputError(std::string("getifaddrs: ") + std::strerror(errno));
  return {first, &freeifaddrs};
}

/// The address of an entry, none where it has none of the Internet's.
std::optional<SocketAddress> addressOf(const ifaddrs& entry) {
  if (entry.ifa_addr == nullptr) return std::nullopt;
  SocketAddress address{};
  if (entry.ifa_addr->sa_family == AF_INET)
    std::memcpy(&address.ipv4, entry.ifa_addr, sizeof address.ipv4);
  else if (entry.ifa_addr->sa_family == AF_INET6)
    std::memcpy(&address.ipv6, entry.ifa_addr, sizeof address.ipv6);
  else
    return std::nullopt;
  return address;
}

std::optional<SocketAddress> parse(const std::string& text) {
  SocketAddress address{};
  if (inet_pton(AF_INET, text.c_str(), &address.ipv4.sin_addr) == 1) {
    address.ipv4.sin_family = AF_INET;
    return address;
  }
  if (inet_pton(AF_INET6, text.c_str(), &address.ipv6.sin6_addr) == 1) {
    address.ipv6.sin6_family = AF_INET6;
    return address;
  }
  return std::nullopt;
}

bool isSameHost(const SocketAddress& a, const SocketAddress& b) {
  if (a.generic.sa_family != b.generic.sa_family) return false;
  return a.generic.sa_family == AF_INET ? a.ipv4.sin_addr.s_addr == b.ipv4.sin_addr.s_addr
                                        : IN6_ARE_ADDR_EQUAL(&a.ipv6.sin6_addr, &b.ipv6.sin6_addr);
}

NetworkInterface withAddress(const SocketAddress& wanted, const std::string& text) {
  const Addresses all = allAddresses();
  for (const ifaddrs* entry = all.get(); entry != nullptr; entry = entry->ifa_next) {
    const auto address = addressOf(*entry);
    if (address && isSameHost(*address, wanted)) return {entry->ifa_name, if_nametoindex(entry->ifa_name), address};
  }
  throw OutputError("no interface has the address " + text);
}

}  // namespace

socklen_t sizeOf(const SocketAddress& address) {
  return address.generic.sa_family == AF_INET ? sizeof address.ipv4 : sizeof address.ipv6;
}

bool isMulticast(const SocketAddress& address) {
  return address.generic.sa_family == AF_INET ? IN_MULTICAST(ntohl(address.ipv4.sin_addr.s_addr))
                                              : IN6_IS_ADDR_MULTICAST(&address.ipv6.sin6_addr);
}

bool isLinkLocal(const SocketAddress& address) {
  if (address.generic.sa_family == AF_INET) return false;  // there the route decides
  const in6_addr& ip = address.ipv6.sin6_addr;
  return IN6_IS_ADDR_LINKLOCAL(&ip) || IN6_IS_ADDR_MC_LINKLOCAL(&ip) || IN6_IS_ADDR_MC_NODELOCAL(&ip);
}

NetworkInterface NetworkInterface::find(const std::string& nameOrAddress) {
  if (const auto address = parse(nameOrAddress)) return withAddress(*address, nameOrAddress);
  const unsigned int index = if_nametoindex(nameOrAddress.c_str());
  if (index == 0) throw OutputError("there is no interface " + nameOrAddress);
  return {nameOrAddress, index, std::nullopt};
}

std::optional<SocketAddress> NetworkInterface::sourceFor(const SocketAddress& destination) const {
  const auto family = destination.generic.sa_family;
  if (address && address->generic.sa_family == family) return address;
  const Addresses all = allAddresses();
  for (const ifaddrs* entry = all.get(); entry != nullptr; entry = entry->ifa_next) {
    if (name != entry->ifa_name) continue;
    const auto found = addressOf(*entry);
    if (found && found->generic.sa_family == family && isLinkLocal(*found) == isLinkLocal(destination))
      return found;
  }
  return std::nullopt;
}

}  // namespace vantor::outputs
