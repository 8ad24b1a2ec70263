#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>

#include "interface/checks/Refusal.h"
#include "interface/records.h"

namespace vantor::thrift::general {

/// True for a destination that leaves as multicast, through the VLAN interface of the address. The last octet tells
/// and not the first: 10.0.0.230 is multicast here and 239.1.1.1 is not. Kept for compatibility.
inline bool isMulticast(const in_addr& destination) {
  constexpr unsigned int kMulticastNibble = 14;
  return ntohl(destination.s_addr) % 0x100 >> 4 == kMulticastNibble;
}

/// Why there is no such VLAN, if there is none; the path is "/vlan".
[[nodiscard]] std::optional<Refusal> checkVlan(std::int32_t vlan);

/// Why nothing could be sent to the address, if so. The vlan is looked at only where it is read.
[[nodiscard]] std::optional<Refusal> check(const OutputAddress& address);

}  // namespace vantor::thrift::general
