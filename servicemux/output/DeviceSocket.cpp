#include "servicemux/output/DeviceSocket.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "interface/checks/outputAddress.h"
#include "interface/host.h"
#include "servicemux/muxer/SocketSink.h"
#include "servicemux/output/deviceInterface.h"

namespace vantor {

namespace {

constexpr unsigned char kTtl = 1;  // the output stays on the local network

const sockaddr* generic(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }

}  // namespace

DeviceSocket::DeviceSocket(vantor::thrift::general::OutputAddress address) : address(std::move(address)) {}

DeviceSocket::~DeviceSocket() { close(); }

bool DeviceSocket::open() {
  destination.sin_family = AF_INET;
  destination.sin_addr.s_addr = inet_addr(address.ip.c_str());
  destination.sin_port = htons(static_cast<std::uint16_t>(address.port));
  descriptor = ::socket(AF_INET, SOCK_DGRAM, 0);
  const bool opened = descriptor >= 0;
  if (!opened) log_function(HOST_LOG_ERROR, 0, "Unable to open socket.");
  const bool ready = thrift::general::isMulticast(destination.sin_addr) ? setUpMulticast() : setUpUnicast();
  return opened && ready;
}

/// Ties the socket to the output interface and to the group. Every step is taken even when an earlier one has
/// failed. Once the socket is closed its descriptor is -1, on which all further steps fail: its old number may
/// already be that of another file.
bool DeviceSocket::setUpMulticast() {
  bool ok = true;
  ifreq interface {};
  interfaceName().copy(interface.ifr_name, IFNAMSIZ - 1);
  if (ioctl(descriptor, SIOCGIFADDR, &interface) < 0) {
    ok = false;
    log_function(HOST_LOG_ERROR, 0, "ioctl(SIOCGIFADDR)");
    close();
  }
  sockaddr_in interfaceAddress{};
  std::memcpy(&interfaceAddress, &interface.ifr_addr, sizeof interfaceAddress);
  if (setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &interfaceAddress.sin_addr,
                 sizeof interfaceAddress.sin_addr) < 0) {
    ok = false;
    std::perror("setsockopt(IP_MULTICAST_IF)");
    close();
  }
  const unsigned char loop = 0;
  setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_LOOP, &loop, sizeof loop);
  const bool ttlSet = setTTL(IP_MULTICAST_TTL);
  if (bind(descriptor, generic(destination), sizeof destination) < 0) {
    ok = false;
    close();
  }
  shutdown(descriptor, SHUT_RD);
  if (!ttlSet) log_function(HOST_LOG_ERROR, 0, "Unable to configure output TTL.");
  return ok && ttlSet;
}

bool DeviceSocket::setUpUnicast() {
  if (setTTL(IP_TTL)) return true;
  log_function(HOST_LOG_ERROR, 0, "Unable to configure output TTL.");
  return false;
}

bool DeviceSocket::setTTL(int option) const {
  return setsockopt(descriptor, IPPROTO_IP, option, &kTtl, sizeof kTtl) == 0;
}

void DeviceSocket::close() {
  if (descriptor == -1) return;
  ::close(descriptor);
  descriptor = -1;
}

ssize_t DeviceSocket::send(const void* datagram, std::size_t size) {
  return SocketSink(descriptor, generic(destination)).send(datagram, size);
}

std::size_t DeviceSocket::sendAll(const Datagram* first, const Datagram* last) {
  return SocketSink(descriptor, generic(destination)).sendAll(first, last);
}

std::string DeviceSocket::interfaceName() const { return deviceInterface(address.vlan); }

}  // namespace vantor
