#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::monitor {

/// What a packet's continuity_counter says of the packets before it.
enum class Continuity {
  kWhole,
  kDoubled,  ///< the one repetition of a packet that the standard allows
  kBroken    ///< packets are missing, are too many, or came in another order
};

/// Follows the continuity_counter of one PID, ISO/IEC 13818-1 clause 2.4.3.3. Not for null packets, whose counter
/// means nothing.
class ContinuityCheck {
 public:
  /// Takes the PID's next packet (188 bytes).
  [[nodiscard]] Continuity take(std::string_view packet);

  /// The next packet may have any counter.
  void forget() { last.clear(); }

 private:
  [[nodiscard]] bool repeats(std::string_view packet) const;

  std::string last;  // packet; empty while there is none to go by
  bool wasRepeated = false;
};

}  // namespace vantor::monitor
