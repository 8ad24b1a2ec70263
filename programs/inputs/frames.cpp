#include "programs/inputs/frames.h"

#include <arpa/inet.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <charconv>

namespace vantor::inputs {

namespace {

constexpr unsigned int kEtherIpv4 = 0x0800;
constexpr unsigned int kEtherIpv6 = 0x86DD;

constexpr std::size_t kIpv4Size = 4;
constexpr std::size_t kIpv6Size = 16;

constexpr unsigned int kUdp = 17;
constexpr std::size_t kUdpHead = 8;

/// Takes a frame apart from its front. What is beyond its end is 0.
class FrameReader {
 public:
  explicit FrameReader(std::string_view bytes) : rest(bytes) {}

  unsigned int byte(std::size_t at) const { return at < rest.size() ? static_cast<unsigned char>(rest[at]) : 0; }
  unsigned int word(std::size_t at) const { return byte(at) << 8 | byte(at + 1); }
  std::string_view bytes(std::size_t at, std::size_t count) const {
    return at <= rest.size() ? rest.substr(at, count) : std::string_view();
  }
  std::size_t size() const { return rest.size(); }
  void pass(std::size_t count) { rest.remove_prefix(std::min(count, rest.size())); }

 private:
  std::string_view rest;
};

bool isVlanTag(unsigned int type) { return type == 0x8100 || type == 0x88A8 || type == 0x9100; }

/// Passes what stands behind a frame's type when it is a VLAN tag, IEEE 802.1Q, however many there are.
unsigned int passVlanTags(FrameReader& frame, unsigned int type) {
  while (isVlanTag(type) && frame.size() > 0) {
    type = frame.word(2);
    frame.pass(4);
  }
  return type;
}

/// The EtherType of a frame whose head has it in its last bytes.
unsigned int passHead(FrameReader& frame, std::size_t size, std::size_t typeAt) {
  const unsigned int type = frame.word(typeAt);
  frame.pass(size);
  return passVlanTags(frame, type);
}

/// Of a frame without a type the address family tells the protocol, by the numbers of the system that captured. The
/// version in the packet's first byte says the same.
unsigned int typeByVersion(FrameReader& frame, std::size_t head) {
  frame.pass(head);
  return frame.byte(0) >> 4 == 4 ? kEtherIpv4 : kEtherIpv6;
}

/// Passes the link layer's head and returns the EtherType of what follows.
unsigned int passLink(int linkType, FrameReader& frame) {
  switch (linkType) {
    case DLT_EN10MB:
      return passHead(frame, 14, 12);
    case DLT_LINUX_SLL:
      return passHead(frame, 16, 14);
    case DLT_LINUX_SLL2:
      return passHead(frame, 20, 0);
    case DLT_NULL:
    case DLT_LOOP:
      return typeByVersion(frame, 4);
    default:
      return typeByVersion(frame, 0);
  }
}

Frame readUdp(const FrameReader& udp, std::string address) {
  Frame frame;
  const std::size_t length = udp.word(4);
  if (udp.size() < kUdpHead || udp.size() < length) {
    frame.kind = Frame::Kind::cut;
    return frame;
  }
  if (length < kUdpHead) return frame;
  frame.kind = Frame::Kind::datagram;
  frame.destination = {std::move(address), static_cast<std::uint16_t>(udp.word(2))};
  frame.payload = udp.bytes(kUdpHead, length - kUdpHead);
  return frame;
}

Frame ofKind(Frame::Kind kind) {
  Frame frame;
  frame.kind = kind;
  return frame;
}

/// RFC 791 clause 3.1.
Frame readIpv4(FrameReader ip) {
  const std::size_t head = std::size_t{4} * (ip.byte(0) & 0x0F);
  if (ip.byte(9) != kUdp) return {};
  const bool isFragment = (ip.word(6) & 0x3FFF) != 0;  // more of them, or not the first
  if (isFragment) return ofKind(Frame::Kind::fragment);
  const std::string address(ip.bytes(16, kIpv4Size));
  ip.pass(head);
  return readUdp(ip, address);
}

/// RFC 8200 clauses 3 and 4.
Frame readIpv6(FrameReader ip) {
  constexpr unsigned int kHopByHop = 0;
  constexpr unsigned int kRouting = 43;
  constexpr unsigned int kFragment = 44;
  constexpr unsigned int kDestinationOptions = 60;
  const std::string address(ip.bytes(24, kIpv6Size));
  unsigned int next = ip.byte(6);
  ip.pass(40);
  while (next == kHopByHop || next == kRouting || next == kDestinationOptions) {
    if (ip.size() == 0) return ofKind(Frame::Kind::cut);
    next = ip.byte(0);
    ip.pass(std::size_t{8} * (ip.byte(1) + 1));
  }
  if (next == kFragment) return ofKind(Frame::Kind::fragment);
  return next == kUdp ? readUdp(ip, address) : Frame{};
}

}  // namespace

std::string textOf(const Endpoint& endpoint) {
  char text[INET6_ADDRSTRLEN] = "";
  const bool isV6 = endpoint.address.size() == kIpv6Size;
  inet_ntop(isV6 ? AF_INET6 : AF_INET, endpoint.address.data(), text, sizeof text);
  return (isV6 ? "[" + std::string(text) + "]" : text) + ":" + std::to_string(endpoint.port);
}

std::optional<Endpoint> parseEndpoint(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  Endpoint endpoint;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data() + colon + 1, end, endpoint.port);
  if (error != std::errc() || last != end) return std::nullopt;
  std::string host = text.substr(0, colon);
  const bool isV6 = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (isV6) host = host.substr(1, host.size() - 2);
  endpoint.address.resize(isV6 ? kIpv6Size : kIpv4Size);
  if (inet_pton(isV6 ? AF_INET6 : AF_INET, host.c_str(), endpoint.address.data()) != 1) return std::nullopt;
  return endpoint;
}

bool isKnownLink(int linkType) {
  switch (linkType) {
    case DLT_EN10MB:
    case DLT_LINUX_SLL:
    case DLT_LINUX_SLL2:
    case DLT_NULL:
    case DLT_LOOP:
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
      return true;
    default:
      return false;
  }
}

Frame readFrame(int linkType, std::string_view bytes) {
  FrameReader frame(bytes);
  const unsigned int type = passLink(linkType, frame);
  if (type == kEtherIpv4) return readIpv4(frame);
  if (type == kEtherIpv6) return readIpv6(frame);
  return {};
}

}  // namespace vantor::inputs
