#include "programs/inputs/DatagramPackets.h"

#include <algorithm>

namespace vantor::inputs {

namespace {

constexpr char kSync = static_cast<char>(kSyncByte);

unsigned int byteOf(std::string_view bytes, std::size_t at) { return static_cast<unsigned char>(bytes[at]); }
std::uint32_t wordOf(std::string_view bytes, std::size_t at) {
  return byteOf(bytes, at) << 8 | byteOf(bytes, at + 1);
}

/// RTP's head, RFC 3550 clause 5.1, and what it carries.
struct RtpDatagram {
  std::uint16_t number;
  std::uint32_t sender;
  std::string_view payload;
};

constexpr std::size_t kRtpHead = 12;
constexpr unsigned int kRtpVersion = 2;
constexpr unsigned int kRtpPadding = 0x20;
constexpr unsigned int kRtpExtension = 0x10;
constexpr unsigned int kRtpSources = 0x0F;
constexpr std::size_t kRtpExtensionHead = 4;

// A number so far off is that of a sender that began anew, and no packet that was late.
constexpr int kMostLate = 1000;

std::optional<RtpDatagram> rtpOf(std::string_view bytes) {
  if (bytes.size() < kRtpHead || byteOf(bytes, 0) >> 6 != kRtpVersion) return std::nullopt;
  RtpDatagram rtp{static_cast<std::uint16_t>(wordOf(bytes, 2)), wordOf(bytes, 8) << 16 | wordOf(bytes, 10), {}};
  std::size_t head = kRtpHead + std::size_t{4} * (byteOf(bytes, 0) & kRtpSources);
  if ((byteOf(bytes, 0) & kRtpExtension) != 0) {
    if (bytes.size() < head + kRtpExtensionHead) return std::nullopt;
    head += kRtpExtensionHead + std::size_t{4} * wordOf(bytes, head + 2);
  }
  const std::size_t padding = (byteOf(bytes, 0) & kRtpPadding) != 0 ? byteOf(bytes, bytes.size() - 1) : 0;
  if (bytes.size() < head + padding) return std::nullopt;
  rtp.payload = bytes.substr(head, bytes.size() - head - padding);
  return rtp;
}

bool beginsWithPacket(std::string_view bytes) { return bytes.size() >= kPacketSize && bytes.front() == kSync; }

/// From packet to packet. They may come with their Reed-Solomon code.
std::size_t distanceIn(std::string_view packets) {
  constexpr std::size_t kReedSolomon = 204;
  return packets.size() % kPacketSize != 0 && packets.size() % kReedSolomon == 0 ? kReedSolomon : kPacketSize;
}

}  // namespace

bool DatagramPackets::holdsPackets(std::string_view payload) {
  if (beginsWithPacket(payload)) return true;
  const auto rtp = rtpOf(payload);
  return rtp && beginsWithPacket(rtp->payload);
}

void DatagramPackets::push(std::string_view payload, std::optional<std::int64_t> time) {
  if (!holdsPackets(payload)) {
    ++counts.otherDatagrams;
    return;
  }
  ++counts.datagrams;
  if (beginsWithPacket(payload)) return cut(payload, time);
  const auto rtp = rtpOf(payload);
  if (isInTurn(rtp->number, rtp->sender)) cut(rtp->payload, time);
}

/// Counts what is missing before it. One that comes behind its followers is left out: it would tear them apart.
bool DatagramPackets::isInTurn(std::uint16_t number, std::uint32_t from) {
  const int ahead = nextNumber && from == sender
                        ? static_cast<std::int16_t>(static_cast<std::uint16_t>(number - *nextNumber))
                        : 0;
  if (ahead < 0 && ahead >= -kMostLate) {
    ++counts.rtpLate;
    return false;
  }
  if (ahead > 0) counts.rtpLost += static_cast<std::uint64_t>(ahead);
  nextNumber = static_cast<std::uint16_t>(number + 1);
  sender = from;
  return true;
}

void DatagramPackets::cut(std::string_view packets, std::optional<std::int64_t> time) {
  const std::size_t distance = distanceIn(packets);
  for (; packets.size() >= kPacketSize; packets.remove_prefix(std::min(distance, packets.size()))) {
    if (packets.front() != kSync) {
      counts.skippedBytes += kPacketSize;
      ++counts.resynchronisations;
      continue;
    }
    Packet& packet = waiting.emplace_back();
    std::copy_n(packets.begin(), kPacketSize, packet.bytes.begin());
    packet.time = time;
  }
  counts.skippedBytes += packets.size();
}

bool DatagramPackets::next(Packet& packet) {
  if (waiting.empty()) return false;
  packet = waiting.front();
  waiting.pop_front();
  ++counts.packets;
  return true;
}

}  // namespace vantor::inputs
