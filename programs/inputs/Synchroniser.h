#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "programs/inputs/PacketSource.h"

namespace vantor::inputs {

/// Finds the packets in bytes: at which distance they lie (188 bytes; 192 with a timestamp before each, 204 with a
/// checksum behind), and where they go on behind bytes that are lost, damaged or too many.
class Synchroniser {
 public:
  /// What is found is counted in `counts`, which outlives the object.
  explicit Synchroniser(InputCounts& counts) : counts(counts) {}

  /// Takes more bytes.
  void append(std::string_view more) { bytes += more; }
  /// Says that there are no more bytes.
  void finish() { finished = true; }

  /// Gets the next packet. Returns false when that takes more bytes, or there are no more packets.
  bool next(Packet& packet);

 private:
  /// Where it goes on: here, further behind, or there is no telling yet.
  enum class Step { here, again, more };

  std::string_view rest() const { return std::string_view(bytes).substr(at); }
  void pass(std::size_t count);
  Step hold();
  Step bridge();
  Step search();
  void lock(std::size_t offset, std::size_t found);
  void finishTail();

  InputCounts& counts;
  std::string bytes;
  std::size_t at = 0;            // of `bytes` what lies before is done with
  std::size_t distance = 0;      // from packet to packet; 0 while there is no sync
  std::size_t lastDistance = 0;  // that of the sync before, 0 for none
  std::size_t gap = 0;           // between the packet before and the next
  std::size_t skipped = 0;       // since sync was lost
  bool finished = false;
};

/// Whether packets begin where these bytes begin. With `all` there are no bytes behind.
bool beginsWithPackets(std::string_view bytes, bool all);

/// Whether packets begin anywhere in these bytes.
bool holdsPackets(std::string_view bytes, bool all);

}  // namespace vantor::inputs
