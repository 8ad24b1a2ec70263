/// Receives datagrams, keeps them with the kernel's time stamps in memory, and writes them out at the end.
///
///   wire_receiver --ports 1 --headers FILE --payload FILE
///
/// binds so many ports of 127.0.0.1, writes their numbers to the standard output, and receives until the standard
/// input ends. Then FILE gets a Header for each datagram, and the payloads back to back. It looks for datagrams
/// every few milliseconds only, so that it is hardly in the sender's way. Exit status 1 when the kernel had to drop
/// some.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "bench/wire/process.h"

namespace {

constexpr int kBufferSize = 64 << 20;
constexpr std::size_t kBatch = 64;
constexpr std::size_t kDatagramSize = 2048;
constexpr int kPause = 5;  // ms

struct Header {
  std::int64_t time;  // CLOCK_REALTIME, ns
  std::uint32_t size;
  std::uint32_t output;  // which of the ports, from 0 on
};
static_assert(sizeof(Header) == 16);

struct Recording {
  std::vector<Header> headers;
  std::vector<char> payload;
  std::uint32_t dropped = 0;
};

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

int openSocket() {
  const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  if (descriptor < 0) fail("socket");
  const int on = 1;
  if (setsockopt(descriptor, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on) != 0) fail("SO_TIMESTAMPNS");
  if (setsockopt(descriptor, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on) != 0) fail("SO_RXQ_OVFL");
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &kBufferSize, sizeof kBufferSize) != 0)
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kBufferSize, sizeof kBufferSize);  // as large as it may be
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("bind");
  return descriptor;
}

int portOf(int descriptor) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) fail("getsockname");
  return ntohs(address.sin_port);
}

/// Room for one call of recvmmsg.
class Batch {
 public:
  Batch() {
    for (std::size_t i = 0; i < kBatch; ++i) {
      parts[i] = {data[i].data(), data[i].size()};
      messages[i].msg_hdr.msg_iov = &parts[i];
      messages[i].msg_hdr.msg_iovlen = 1;
      messages[i].msg_hdr.msg_control = control[i].data();
    }
  }

  /// Takes what is there, at most one batch; returns how many datagrams that were.
  int receive(int descriptor, std::uint32_t output, Recording& recording) {
    for (mmsghdr& message : messages) message.msg_hdr.msg_controllen = kControlSize;
    const int count = recvmmsg(descriptor, messages.data(), kBatch, 0, nullptr);
    if (count < 0 && errno != EAGAIN && errno != EINTR) fail("recvmmsg");
    for (int i = 0; i < count; ++i) keep(static_cast<std::size_t>(i), output, recording);
    return count;
  }

 private:
  static constexpr std::size_t kControlSize = 128;

  void keep(std::size_t i, std::uint32_t output, Recording& recording) {
    Header header{0, messages[i].msg_len, output};
    msghdr& message = messages[i].msg_hdr;
    for (cmsghdr* note = CMSG_FIRSTHDR(&message); note != nullptr; note = CMSG_NXTHDR(&message, note)) {
      if (note->cmsg_level != SOL_SOCKET) continue;
      if (note->cmsg_type == SO_RXQ_OVFL) std::memcpy(&recording.dropped, CMSG_DATA(note), sizeof(std::uint32_t));
      if (note->cmsg_type != SO_TIMESTAMPNS) continue;
      timespec time{};
      std::memcpy(&time, CMSG_DATA(note), sizeof time);
      header.time = time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
    }
    recording.headers.push_back(header);
    recording.payload.insert(recording.payload.end(), data[i].data(), data[i].data() + header.size);
  }

  std::array<std::array<char, kDatagramSize>, kBatch> data{};
  std::array<std::array<char, kControlSize>, kBatch> control{};
  std::array<iovec, kBatch> parts{};
  std::array<mmsghdr, kBatch> messages{};
};

void drain(const std::vector<int>& sockets, Batch& batch, Recording& recording) {
  for (std::size_t i = 0; i < sockets.size(); ++i) {
    while (batch.receive(sockets[i], static_cast<std::uint32_t>(i), recording) == static_cast<int>(kBatch)) {
    }
  }
}

/// Waits for a moment; false once the standard input has ended.
bool waitAMoment() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  char byte = 0;
  return poll(&input, 1, kPause) <= 0 || read(STDIN_FILENO, &byte, 1) > 0;
}

template <typename Item>
void write(const std::string& path, const std::vector<Item>& items) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(items.data()),
             static_cast<std::streamsize>(items.size() * sizeof(Item)));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace

int main(int argc, char** argv) try {
  dieWithParent();
  int ports = 1;
  std::string headers;
  std::string payload;
  CLI::App app("Records datagrams with the kernel's time stamps");
  app.add_option("--ports", ports, "how many ports to receive at");
  app.add_option("--headers", headers, "file for when each came")->required();
  app.add_option("--payload", payload, "file for what was in them")->required();
  CLI11_PARSE(app, argc, argv);

  std::vector<int> sockets;
  for (int i = 0; i < ports; ++i) sockets.push_back(openSocket());
  for (const int descriptor : sockets) std::cout << portOf(descriptor) << ' ';
  std::cout << std::endl;

  Recording recording;
  const auto batch = std::make_unique<Batch>();
  do {
    drain(sockets, *batch, recording);
  } while (waitAMoment());
  drain(sockets, *batch, recording);
  write(headers, recording.headers);
  write(payload, recording.payload);
  if (recording.dropped == 0) return 0;
  std::cerr << "wire_receiver: the kernel dropped " << recording.dropped << " datagrams\n";
  return 1;
} catch (const std::exception& error) {
  std::cerr << "wire_receiver: " << error.what() << '\n';
  return 1;
}
