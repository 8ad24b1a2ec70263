#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

namespace vantor::inputs {

/// Where a live input comes from, as its name says.
struct LiveAddress {
  sockaddr_storage local{};                ///< address, or multicast group, and port
  std::optional<sockaddr_storage> sender;  ///< the one sender of a multicast group that is wanted

  bool isMulticast() const;
  int family() const { return local.ss_family; }
  socklen_t size() const { return family() == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in); }
};

/// Reads "udp://ADDR:PORT" or "rtp://ADDR:PORT". Throws InputError, with the name in front, when it has another
/// form.
LiveAddress parseLiveAddress(const std::string& input);

}  // namespace vantor::inputs
