#include "programs/inputs/liveAddress.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstring>

#include "programs/inputs/open.h"
#include "programs/tables/json/InputError.h"

namespace vantor::inputs {

namespace {

constexpr std::string_view kScheme = "udp://";  // "rtp://" is as long

/// Without brackets an address of IPv4, else one of IPv6; of all interfaces when there is none.
std::optional<sockaddr_storage> parseHost(std::string host) {
  sockaddr_storage out{};
  if (host.empty()) {
    // Takes IPv4 too.
    out.ss_family = AF_INET6;
    return out;
  }
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    auto& address = reinterpret_cast<sockaddr_in6&>(out);
    address.sin6_family = AF_INET6;
    host = host.substr(1, host.size() - 2);
    if (inet_pton(AF_INET6, host.c_str(), &address.sin6_addr) != 1) return std::nullopt;
    return out;
  }
  auto& address = reinterpret_cast<sockaddr_in&>(out);
  address.sin_family = AF_INET;
  if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) return std::nullopt;
  return out;
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port == 0) return std::nullopt;
  return port;
}

void setPort(sockaddr_storage& address, std::uint16_t port) {
  // Both kinds of address have it in the same place.
  reinterpret_cast<sockaddr_in6&>(address).sin6_port = htons(port);
}

/// [SOURCE@]ADDR:PORT
std::optional<LiveAddress> parse(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  const std::size_t at = text.find('@');
  const std::size_t hostAt = at == std::string::npos ? 0 : at + 1;
  if (hostAt > colon) return std::nullopt;
  const auto host = parseHost(text.substr(hostAt, colon - hostAt));
  const auto port = parsePort(std::string_view(text).substr(colon + 1));
  if (!host || !port) return std::nullopt;
  LiveAddress address;
  address.local = *host;
  setPort(address.local, *port);
  // Some write "@" before a group without meaning a sender.
  if (hostAt > 1) {
    address.sender = parseHost(text.substr(0, at));
    if (!address.sender || address.sender->ss_family != address.local.ss_family || !address.isMulticast())
      return std::nullopt;
  }
  return address;
}

}  // namespace

bool LiveAddress::isMulticast() const {
  if (family() == AF_INET6) return IN6_IS_ADDR_MULTICAST(&reinterpret_cast<const sockaddr_in6&>(local).sin6_addr);
  return IN_MULTICAST(ntohl(reinterpret_cast<const sockaddr_in&>(local).sin_addr.s_addr));
}

bool isLive(const std::string& input) {
  return input.compare(0, kScheme.size(), "udp://") == 0 || input.compare(0, kScheme.size(), "rtp://") == 0;
}

LiveAddress parseLiveAddress(const std::string& input) {
  if (const auto address = parse(input.substr(kScheme.size()))) return *address;
  throw tables::InputError(tables::printable(input) +
                           ": is no address and port like udp://239.1.1.1:5004 or udp://[ff15::1]:5004");
}

}  // namespace vantor::inputs
