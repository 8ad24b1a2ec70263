#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>

#include "programs/inputs/PacketSource.h"

namespace vantor::inputs {

/// The packets in the datagrams of one stream, which come by themselves or in RTP (RFC 2250). Which of the two it
/// is shows in each datagram.
class DatagramPackets {
 public:
  /// What is found is counted in `counts`, which outlives the object.
  explicit DatagramPackets(InputCounts& counts) : counts(counts) {}

  /// Whether the payload of a datagram begins with packets.
  static bool holdsPackets(std::string_view payload);

  /// Takes a datagram's payload and the time of its arrival.
  void push(std::string_view payload, std::optional<std::int64_t> time);

  /// Gets the next packet; false when there is none before the next datagram.
  bool next(Packet& packet);

 private:
  bool isInTurn(std::uint16_t number, std::uint32_t from);
  void cut(std::string_view packets, std::optional<std::int64_t> time);

  InputCounts& counts;
  std::deque<Packet> waiting;
  std::optional<std::uint16_t> nextNumber;  // of RTP, once there was one
  std::uint32_t sender = 0;
};

}  // namespace vantor::inputs
