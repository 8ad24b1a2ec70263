#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Frames of a network to the UDP datagrams in them.

namespace vantor::inputs {

/// One end of a stream of datagrams.
struct Endpoint {
  std::string address;  ///< four bytes (IPv4) or sixteen (IPv6)
  std::uint16_t port = 0;

  friend bool operator==(const Endpoint& a, const Endpoint& b) {
    return a.address == b.address && a.port == b.port;
  }
  friend bool operator<(const Endpoint& a, const Endpoint& b) {
    return a.address != b.address ? a.address < b.address : a.port < b.port;
  }
};

/// "239.1.1.1:5004", "[ff15::1]:5004".
std::string textOf(const Endpoint& endpoint);

/// Reads what textOf() writes.
std::optional<Endpoint> parseEndpoint(const std::string& text);

struct Frame {
  enum class Kind { datagram, fragment, cut, other };

  Kind kind = Kind::other;
  Endpoint destination;      ///< of a datagram
  std::string_view payload;  ///< of a datagram
};

/// Whether frames of this link type (one of libpcap's DLT_ values) can be read.
bool isKnownLink(int linkType);

/// Looks for a UDP datagram in a frame, behind any VLAN tags and IPv6 extension headers.
Frame readFrame(int linkType, std::string_view bytes);

}  // namespace vantor::inputs
