#pragma once

#include <netinet/in.h>

#include <string>

#include "interface/records.h"
#include "servicemux/muxer/DatagramSink.h"

namespace vantor {

/// The output socket by the device's address plan: an address whose last octet is 224 to 239 is a multicast group,
/// reached through the VLAN interface that the address record selects; any other is sent to directly. The TTL is 1.
/// All but send() and sendAll() belongs to one thread, before the first and after the last of them.
class DeviceSocket final : public DatagramSink {
 public:
  explicit DeviceSocket(vantor::thrift::general::OutputAddress address);
  ~DeviceSocket() override;

  /// Opens the socket and sets it up; true when every step succeeded. What failed is logged, and the steps behind
  /// it are taken all the same. Called once.
  bool open();

  [[nodiscard]] const vantor::thrift::general::OutputAddress& outputAddress() const { return address; }

  /// The interface that carries multicast output.
  [[nodiscard]] std::string interfaceName() const;

  void close();

  /// Fails with EBADF while the socket is not open.
  [[nodiscard]] ssize_t send(const void* datagram, std::size_t size) override;
  [[nodiscard]] std::size_t sendAll(const Datagram* first, const Datagram* last) override;

 private:
  bool setUpMulticast();
  bool setUpUnicast();
  [[nodiscard]] bool setTTL(int option) const;

  const vantor::thrift::general::OutputAddress address;
  int descriptor = -1;
  sockaddr_in destination{};
};

}  // namespace vantor
