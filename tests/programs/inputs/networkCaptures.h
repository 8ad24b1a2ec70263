#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Captures of a network made for a test, byte by byte.

namespace vantor::testing {

/// A number of so many bytes, the high ones first.
std::string bigEndian(std::uint64_t value, std::size_t size);
std::string littleEndian(std::uint64_t value, std::size_t size);

/// A packet of this PID with a payload that tells it from others.
std::string markedPacket(unsigned pid, unsigned mark);

/// `count` of them on PID 0x100, marked from `first` on.
std::string markedPackets(unsigned count, unsigned first = 0);

/// An RTP packet (RFC 3550) with this payload.
std::string rtp(unsigned number, const std::string& payload, unsigned sender = 1);

/// UDP over IP to this address (four bytes or sixteen) and port.
std::string udpOverIp(const std::string& address, unsigned port, const std::string& payload);

extern const std::string kIpv4Group;  // 239.1.2.3
extern const std::string kIpv6Group;  // ff15::7

/// Ethernet around an IP packet.
std::string ethernet(const std::string& ip);
/// The same with two VLAN tags, the outer one of this type.
std::string taggedEthernet(const std::string& ip, unsigned outer = 0x88A8);
/// What "any" interfaces are captured as.
std::string linuxCooked(const std::string& ip);
std::string linuxCooked2(const std::string& ip);

/// What loopback interfaces of other systems are captured as, with their number of an address family.
std::string loopback(const std::string& ip);

constexpr unsigned kNullLink = 0;
constexpr unsigned kEthernetLink = 1;
constexpr unsigned kRawLink = 101;
constexpr unsigned kLoopLink = 108;
constexpr unsigned kCookedLink = 113;
constexpr unsigned kCooked2Link = 276;

/// Files of frames, of which the first came 1 s after 1970 and each one 1 ms later.
std::string pcap(const std::vector<std::string>& frames, unsigned link = kEthernetLink);
std::string pcapng(const std::vector<std::string>& frames, unsigned link = kEthernetLink);

/// What gzip and xz make of bytes.
std::string gzipped(const std::string& bytes);
std::string xzipped(const std::string& bytes);

}  // namespace vantor::testing
