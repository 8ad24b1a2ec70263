#include "interface/checks/outputAddress.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include "tests/interface/checks/refuses.h"

using vantor::Refusal;
using vantor::thrift::general::OutputAddress;

namespace {

std::optional<Refusal> checked(const std::string& ip, std::int32_t port = 5004, std::int32_t vlan = 1) {
  OutputAddress address;
  address.ip = ip;
  address.port = port;
  address.vlan = vlan;
  return check(address);
}

bool leavesAsMulticast(const char* ip) {
  in_addr address{};
  EXPECT_EQ(inet_pton(AF_INET, ip, &address), 1);
  return vantor::thrift::general::isMulticast(address);
}

}  // namespace

TEST(OutputAddressCheck, TakesDottedAddressesOnly) {
  EXPECT_THAT(checked("239.1.1.1"), passes());
  EXPECT_THAT(checked("0.0.0.0"), passes());
  for (const std::string ip :
       {"", "10.1", "10.0.0.256", "10.0.0.1 ", "0x0A000001", "localhost", "::1", "1.2.3.4.5"})
    EXPECT_THAT(checked(ip), refuses("/ip", '"' + ip + '"', "is no IPv4 address"));
  const std::string withNul("10.0.0.1\0.com", 13);
  EXPECT_THAT(checked(withNul), refuses("/ip", '"' + withNul + '"', "is no IPv4 address"));
}

TEST(OutputAddressCheck, TakesPortsThatCanBeSentTo) {
  EXPECT_THAT(checked("10.0.0.1", 1), passes());
  EXPECT_THAT(checked("10.0.0.1", 65535), passes());
  EXPECT_THAT(checked("10.0.0.1", 0), refuses("/port", "0", "is no port from 1 to 65535"));
  EXPECT_THAT(checked("10.0.0.1", -1), refuses("/port", "-1", "is no port from 1 to 65535"));
  EXPECT_THAT(checked("10.0.0.1", 65536), refuses("/port", "65536", "is no port from 1 to 65535"));
}

TEST(OutputAddressCheck, LooksAtTheVlanOfMulticastOutputsOnly) {
  for (const int vlan : {1, 2, 3}) EXPECT_THAT(checked("10.0.0.230", 5004, vlan), passes());
  for (const int vlan : {0, 4, -1}) {
    EXPECT_THAT(checked("10.0.0.230", 5004, vlan),
                refuses("/vlan", std::to_string(vlan), "is none of the VLANs 1, 2 and 3"));
    EXPECT_THAT(checked("239.1.1.1", 5004, vlan), passes());
  }
}

TEST(OutputAddressCheck, TheLastOctetTellsMulticast) {
  EXPECT_FALSE(leavesAsMulticast("239.239.239.223"));
  EXPECT_TRUE(leavesAsMulticast("10.0.0.224"));
  EXPECT_TRUE(leavesAsMulticast("10.0.0.239"));
  EXPECT_FALSE(leavesAsMulticast("10.0.0.240"));
}
