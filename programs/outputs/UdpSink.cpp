#include "programs/outputs/UdpSink.h"

#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace vantor::outputs {

namespace {

constexpr std::size_t kAtOnce = 32;  // datagrams of one call

}  // namespace

UdpSink::UdpSink(const Destination& destination, const SocketOptions& options, const std::string& where)
    : Output(nameOf(destination), where), socket(destination, options) {
  if (destination.form == Destination::Form::Rtp) rtp.emplace();
}

/// Hands up to kAtOnce datagrams to the socket and counts those that have left.
UdpSocket::Result UdpSink::hand(const Datagram* first, std::size_t count) {
  std::array<RtpHeader::Bytes, kAtOnce> headers;
  std::array<std::array<iovec, 2>, kAtOnce> parts;
  std::array<mmsghdr, kAtOnce> messages;
  const auto now = RtpHeader::Clock::now();
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t used = 0;
    if (rtp) {
      headers[i] = rtp->at(now, i);
      parts[i][used++] = {headers[i].data(), headers[i].size()};
    }
    parts[i][used++] = {const_cast<void*>(first[i].bytes), first[i].size};  // is only read
    messages[i] = {};
    messages[i].msg_hdr.msg_iov = parts[i].data();
    messages[i].msg_hdr.msg_iovlen = used;
  }
  const UdpSocket::Result result = socket.send(messages.data(), count);
  if (result.wasRefused) countRefused();
  for (std::size_t i = 0; i < result.sent; ++i) countSent(first[i].size);
  if (rtp) rtp->advance(result.sent);
  return result;
}

bool UdpSink::send(const Datagram& datagram) {
  const UdpSocket::Result result = hand(&datagram, 1);
  if (result.sent == 1) return true;
  countLost(result.error);
  if (rtp) rtp->advance(1);  // the receiver is to see the gap
  return false;
}

std::size_t UdpSink::sendAll(const Datagram* first, const Datagram* last) {
  return hand(first, std::min(static_cast<std::size_t>(last - first), kAtOnce)).sent;
}

void UdpSink::mend() {
  const int error = currentError();
  const bool passesByItself = error == EAGAIN || error == ENOBUFS;  // the way is there and full
  if (error != 0 && !passesByItself) socket.reopen();
}

}  // namespace vantor::outputs
