#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace vantor::testing {

/// A UDP socket on the loopback interface.
class Receiver {
 public:
  Receiver() : descriptor(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(descriptor, generic, size), 0);
    EXPECT_EQ(getsockname(descriptor, generic, &size), 0);
    port = ntohs(address.sin_port);
  }
  ~Receiver() { close(descriptor); }

  int udpPort() const { return port; }
  std::string target() const { return "127.0.0.1:" + std::to_string(port); }

  /// The next datagram; empty when none comes within `timeout` ms.
  std::string receive(int timeout) const {
    pollfd ready{descriptor, POLLIN, 0};
    if (poll(&ready, 1, timeout) != 1) return "";
    std::string datagram(2048, '\0');
    datagram.resize(static_cast<std::size_t>(std::max<ssize_t>(recv(descriptor, datagram.data(), 2048, 0), 0)));
    return datagram;
  }

 private:
  int descriptor;
  int port = 0;
};

}  // namespace vantor::testing
