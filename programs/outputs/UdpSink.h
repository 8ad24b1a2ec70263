#pragma once

#include <optional>

#include "programs/outputs/Output.h"
#include "programs/outputs/RtpHeader.h"
#include "programs/outputs/UdpSocket.h"

namespace vantor::outputs {

/// Sends the packets over UDP, each datagram as it is or behind an RTP header.
class UdpSink final : public Output {
 public:
  /// Throws OutputError. `where` is the name in messages.
  UdpSink(const Destination& destination, const SocketOptions& options, const std::string& where);

  bool send(const Datagram& datagram) override;
  [[nodiscard]] std::size_t sendAll(const Datagram* first, const Datagram* last) override;

  /// Opens the socket anew while it fails: its interface may be another one of the same name, its address gone.
  void mend() override;

 private:
  UdpSocket::Result hand(const Datagram* first, std::size_t count);

  const UdpSocket socket;
  std::optional<RtpHeader> rtp;  // packet path only
};

}  // namespace vantor::outputs
