#include "programs/inputs/SocketPackets.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "programs/inputs/interfaceIndex.h"
#include "programs/inputs/waitReadable.h"
#include "programs/tables/json/InputError.h"

namespace vantor::inputs {

namespace {

constexpr int kBufferSize = 8 << 20;  // more than half a second at 100 Mbit/s

void setOption(int fd, int level, int option, int value) { setsockopt(fd, level, option, &value, sizeof value); }

template <typename Value>
Value valueOf(cmsghdr* control) {
  Value value{};
  std::memcpy(&value, CMSG_DATA(control), sizeof value);
  return value;
}

}  // namespace

SocketPackets::Socket::Socket(int family) : fd(::socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}

SocketPackets::Socket::~Socket() {
  if (fd >= 0) close(fd);
}

SocketPackets::SocketPackets(std::string inputName, const LiveAddress& address, const InputOptions& options)
    : name(std::move(inputName)), wakeFd(options.wakeFd), socket(address.family()) {
  if (socket.fd < 0) fail(std::strerror(errno));
  setOption(socket.fd, SOL_SOCKET, SO_REUSEADDR, 1);
  setOption(socket.fd, SOL_SOCKET, SO_TIMESTAMPNS, 1);
  setOption(socket.fd, SOL_SOCKET, SO_RXQ_OVFL, 1);
  setOption(socket.fd, SOL_SOCKET, SO_RCVBUF, kBufferSize);
  // Beyond the system's limit, where that is allowed.
  setOption(socket.fd, SOL_SOCKET, SO_RCVBUFFORCE, kBufferSize);
  // Of a group only what was joined here, and not what other programs have joined.
  if (address.family() == AF_INET) setOption(socket.fd, IPPROTO_IP, IP_MULTICAST_ALL, 0);
  if (bind(socket.fd, reinterpret_cast<const sockaddr*>(&address.local), address.size()) != 0)
    fail(std::strerror(errno));
  if (address.isMulticast()) join(address, options.interface);
}

SocketPackets::~SocketPackets() = default;

void SocketPackets::join(const LiveAddress& address, const std::string& interface) const {
  const unsigned int index = interface.empty() ? 0 : interfaceIndex(interface);
  if (!interface.empty() && index == 0) fail("there is no interface " + tables::printable(interface));
  const int level = address.family() == AF_INET6 ? IPPROTO_IPV6 : IPPROTO_IP;
  int result = 0;
  if (address.sender) {
    const group_source_req request{index, address.local, *address.sender};
    result = setsockopt(socket.fd, level, MCAST_JOIN_SOURCE_GROUP, &request, sizeof request);
  } else {
    const group_req request{index, address.local};
    result = setsockopt(socket.fd, level, MCAST_JOIN_GROUP, &request, sizeof request);
  }
  if (result != 0)
    fail(std::string("the group cannot be joined: ") + std::strerror(errno) +
         (interface.empty() ? "; --interface says where" : ""));
}

Read SocketPackets::read(Packet& packet, std::chrono::steady_clock::time_point deadline) {
  while (!datagrams.next(packet)) {
    if (!waitReadable(socket.fd, wakeFd, deadline)) return Read::kTimeout;
    receive();
  }
  return Read::kPacket;
}

void SocketPackets::receive() {
  iovec space{buffer.data(), buffer.size()};
  alignas(cmsghdr) std::array<char, 256> control;
  msghdr message{};
  message.msg_iov = &space;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t count = recvmsg(socket.fd, &message, 0);
  if (count < 0) {
    if (errno == EAGAIN || errno == EINTR) return;
    fail(std::strerror(errno));
  }
  const auto time = readControl(message);
  datagrams.push({buffer.data(), static_cast<std::size_t>(count)}, time);
}

/// The time of arrival, and in passing what the kernel has dropped so far.
std::optional<std::int64_t> SocketPackets::readControl(msghdr& message) {
  std::optional<std::int64_t> time;
  for (cmsghdr* control = CMSG_FIRSTHDR(&message); control != nullptr; control = CMSG_NXTHDR(&message, control)) {
    if (control->cmsg_level != SOL_SOCKET) continue;
    if (control->cmsg_type == SCM_TIMESTAMPNS) {
      const auto stamp = valueOf<timespec>(control);
      time = stamp.tv_sec * kNanosecondsPerSecond + stamp.tv_nsec;
    } else if (control->cmsg_type == SO_RXQ_OVFL) {
      found.dropped = valueOf<std::uint32_t>(control);
    }
  }
  return time;
}

void SocketPackets::fail(const std::string& what) const { throw tables::InputError(name + ": " + what); }

}  // namespace vantor::inputs
