#include "interface/checks/outputAddress.h"

#include <arpa/inet.h>

#include "interface/checks/Field.h"

namespace vantor::thrift::general {

namespace {

constexpr std::int32_t kFirstVlan = 1;
constexpr std::int32_t kLastVlan = 3;

bool parse(const std::string& ip, in_addr& address) {
  const bool endsEarly = ip.find('\0') != std::string::npos;
  return !endsEarly && inet_pton(AF_INET, ip.c_str(), &address) == 1;
}

bool isVlan(const Field& field, const std::int32_t& vlan) {
  return (vlan >= kFirstVlan && vlan <= kLastVlan) ||
         field["vlan"].refuse(std::to_string(vlan), "is none of the VLANs 1, 2 and 3");
}

bool canBeSent(const Field& field, const OutputAddress& address) {
  in_addr destination{};
  if (!parse(address.ip, destination)) return field["ip"].refuse('"' + address.ip + '"', "is no IPv4 address");
  if (address.port < 1 || address.port > kMax16Bits)
    return field["port"].refuse(std::to_string(address.port), "is no port from 1 to " + std::to_string(kMax16Bits));
  return !isMulticast(destination) || isVlan(field, address.vlan);
}

}  // namespace

std::optional<Refusal> checkVlan(std::int32_t vlan) { return refusalOf(vlan, &isVlan); }

std::optional<Refusal> check(const OutputAddress& address) { return refusalOf(address, &canBeSent); }

}  // namespace vantor::thrift::general
