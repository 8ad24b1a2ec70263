#pragma once

#include <array>
#include <string>

#include "programs/inputs/DatagramPackets.h"
#include "programs/inputs/InputOptions.h"
#include "programs/inputs/liveAddress.h"

struct msghdr;

namespace vantor::inputs {

/// The packets that come to a socket, by themselves or in RTP. The kernel tells when each datagram came.
class SocketPackets final : public PacketSource {
 public:
  /// Binds to the address and joins its group where it is one. Throws InputError with `name` in front.
  SocketPackets(std::string name, const LiveAddress& address, const InputOptions& options);
  SocketPackets(const SocketPackets&) = delete;
  SocketPackets& operator=(const SocketPackets&) = delete;
  ~SocketPackets() override;

  Read read(Packet& packet, std::chrono::steady_clock::time_point deadline) override;
  const InputCounts& counts() const override { return found; }
  std::vector<std::string> notes() const override { return {}; }
  bool isLive() const override { return true; }

 private:
  /// A socket that is closed also where the constructor ends early.
  class Socket {
   public:
    explicit Socket(int family);
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket();
    const int fd;
  };

  void join(const LiveAddress& address, const std::string& interface) const;
  void receive();
  std::optional<std::int64_t> readControl(msghdr& message);
  [[noreturn]] void fail(const std::string& what) const;

  const std::string name;
  const int wakeFd;
  const Socket socket;
  InputCounts found;
  DatagramPackets datagrams{found};
  std::array<char, 1 << 16> buffer;
};

}  // namespace vantor::inputs
