#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interface/psi/packet.h"

namespace vantor::inputs {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

/// One packet of a transport stream. Its first byte is the sync byte.
struct Packet {
  std::array<unsigned char, kPacketSize> bytes;
  std::optional<std::int64_t> time;  ///< of its arrival, ns since 1970 UTC; none when the input has no arrivals
};

enum class Read {
  kPacket,   ///< there is one
  kTimeout,  ///< none yet: the deadline has passed, or the descriptor to wake by is readable
  kEnd       ///< there are no more, and never will be
};

/// What an input had besides whole packets.
struct InputCounts {
  std::uint64_t packets = 0;
  std::uint64_t skippedBytes = 0;        ///< that stand where no packet can be, without the tail
  std::uint64_t resynchronisations = 0;  ///< losses of sync after which it was found again, leading junk included
  std::uint64_t tailBytes = 0;           ///< of the packet that is cut at the end
  std::uint64_t datagrams = 0;           ///< with packets of the stream that is read
  std::uint64_t otherDatagrams = 0;      ///< to the same address without any
  std::uint64_t otherFrames = 0;         ///< of a capture of a network: no UDP, or to other addresses
  std::uint64_t cutFrames = 0;           ///< of a capture of a network: not captured as a whole
  std::uint64_t fragments = 0;           ///< of IP datagrams; they are not joined
  std::uint64_t rtpLost = 0;             ///< RTP packets whose numbers are missing
  std::uint64_t rtpLate = 0;             ///< RTP packets that came twice or behind later ones; left out
  std::uint64_t dropped = 0;             ///< datagrams for which a live input's buffer in the kernel had no room
};

/// Where the packets of a transport stream come from: a file, a pipe, a socket. They are read as a stream, whatever
/// is not a packet is skipped and counted. One thread at a time.
class PacketSource {
 public:
  virtual ~PacketSource() = default;

  /// Gets the next packet; waits for it until the deadline where the input is live or a pipe. Whoever wants to wait
  /// for ever gives time_point::max(). Throws InputError, with the input's name in front, when it cannot be read
  /// on.
  [[nodiscard]] virtual Read read(Packet& packet, std::chrono::steady_clock::time_point deadline) = 0;

  virtual const InputCounts& counts() const = 0;

  /// What a user must know of what was read so far and the counts do not tell, one line each: which of several
  /// streams was taken, where a compressed file breaks off. Complete once read() has returned kEnd.
  virtual std::vector<std::string> notes() const = 0;

  /// How much of the input is read, 0 to 1; none when its size is not known.
  virtual std::optional<double> progress() const { return std::nullopt; }

  /// Whether packets come as time goes by, and there is no end.
  virtual bool isLive() const { return false; }
};

}  // namespace vantor::inputs
