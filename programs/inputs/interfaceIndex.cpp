#include "programs/inputs/interfaceIndex.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <memory>

namespace vantor::inputs {

namespace {

std::string textOf(const sockaddr* address) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address == nullptr) return "";
  if (address->sa_family == AF_INET)
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  if (address->sa_family == AF_INET6)
    inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
  return text;
}

}  // namespace

unsigned int interfaceIndex(const std::string& nameOrAddress) {
  if (const unsigned int index = if_nametoindex(nameOrAddress.c_str()); index != 0) return index;
  ifaddrs* all = nullptr;
  if (nameOrAddress.empty() || getifaddrs(&all) != 0) return 0;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(all, freeifaddrs);
  for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next)
    if (textOf(one->ifa_addr) == nameOrAddress) return if_nametoindex(one->ifa_name);
  return 0;
}

}  // namespace vantor::inputs
