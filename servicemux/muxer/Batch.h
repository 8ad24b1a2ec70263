#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "interface/psi/packet.h"
#include "servicemux/muxer/DatagramSink.h"

namespace vantor {

/// The datagrams that leave with one wake-up.
class Batch {
 public:
  static constexpr std::size_t kDatagrams = 20;
  static constexpr std::size_t kPackets = 7;  // of a datagram

  void clear() { count = 0; }
  [[nodiscard]] bool isEmpty() const { return count == 0; }
  [[nodiscard]] bool isFull() const { return count == kDatagrams; }

  /// Where the packets of the next datagram go; not of a full batch.
  [[nodiscard]] signed char* next() { return bytes.data() + count * kPackets * kPacketSize; }
  /// So many packets have been written there.
  void add(std::size_t packets) {
    datagrams[count] = {next(), packets * kPacketSize};
    ++count;
  }

  [[nodiscard]] const DatagramSink::Datagram* begin() const { return datagrams.data(); }
  [[nodiscard]] const DatagramSink::Datagram* end() const { return datagrams.data() + count; }

 private:
  std::vector<signed char> bytes = std::vector<signed char>(kDatagrams * kPackets * kPacketSize);
  std::array<DatagramSink::Datagram, kDatagrams> datagrams{};
  std::size_t count = 0;
};

}  // namespace vantor
