#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "interface/checks/outputAddress.h"
#include "interface/host.h"
#include "servicemux/front/serviceMux.h"

namespace vantor {

namespace {

constexpr unsigned char kTtl = 1;  // the output stays on the local network

}  // namespace

bool serviceMux::openUDPSocket() {
  destination.sin_family = AF_INET;
  destination.sin_addr.s_addr = inet_addr(outputAddress.ip.c_str());
  destination.sin_port = htons(static_cast<std::uint16_t>(outputAddress.port));
  socketFd = ::socket(AF_INET, SOCK_DGRAM, 0);
  const bool opened = socketFd >= 0;
  if (!opened) log_function(HOST_LOG_ERROR, 0, "Unable to open socket.");
  const bool ready = thrift::general::isMulticast(destination.sin_addr) ? setUpMulticast() : setUpUnicast();
  return opened && ready;
}

/// Ties the socket to the output interface and to the group. Every step is taken even when an earlier one failed;
/// once the socket is closed they all fail on descriptor -1, and the number it had is left to whoever gets it next.
bool serviceMux::setUpMulticast() {
  bool ok = true;
  ifreq interface {};
  getOutputInterfaceName().copy(interface.ifr_name, IFNAMSIZ - 1);
  if (ioctl(socketFd, SIOCGIFADDR, &interface) < 0) {
    ok = false;
    log_function(HOST_LOG_ERROR, 0, "ioctl(SIOCGIFADDR)");
    closeSocket();
  }
  sockaddr_in interfaceAddress{};
  std::memcpy(&interfaceAddress, &interface.ifr_addr, sizeof interfaceAddress);
  if (setsockopt(socketFd, IPPROTO_IP, IP_MULTICAST_IF, &interfaceAddress.sin_addr,
                 sizeof interfaceAddress.sin_addr) < 0) {
    ok = false;
    std::perror("setsockopt(IP_MULTICAST_IF)");
    closeSocket();
  }
  const unsigned char loop = 0;
  setsockopt(socketFd, IPPROTO_IP, IP_MULTICAST_LOOP, &loop, sizeof loop);
  const bool ttlSet = setTTL(IP_MULTICAST_TTL);
  if (bind(socketFd, reinterpret_cast<const sockaddr*>(&destination), sizeof destination) < 0) {
    ok = false;
    closeSocket();
  }
  shutdown(socketFd, SHUT_RD);
  if (!ttlSet) log_function(HOST_LOG_ERROR, 0, "Unable to configure output TTL.");
  return ok && ttlSet;
}

bool serviceMux::setUpUnicast() {
  if (setTTL(IP_TTL)) return true;
  log_function(HOST_LOG_ERROR, 0, "Unable to configure output TTL.");
  return false;
}

bool serviceMux::setTTL(int option) const {
  return setsockopt(socketFd, IPPROTO_IP, option, &kTtl, sizeof kTtl) == 0;
}

void serviceMux::closeSocket() {
  if (socketFd == -1) return;
  close(socketFd);
  socketFd = -1;
}

std::string serviceMux::getOutputInterfaceName() const {
  const int slot = get_cached_module_slot();
  switch (outputAddress.vlan) {
    case 1:
      return "ethInt.100";
    case 2:
      return "ethInt." + std::to_string(100 * slot + 11);
    case 3:
      return "ethInt." + std::to_string(100 * slot + 12);
    default:
      log_function(HOST_LOG_ERROR, 0, "[ServiceMux] No valid VLAN found! ");
      return "ethInt";
  }
}

}  // namespace vantor
