#include "programs/monitor/ContinuityCheck.h"

#include "interface/psi/packet.h"
#include "programs/monitor/packetFields.h"

namespace vantor::monitor {

Continuity ContinuityCheck::take(std::string_view packet) {
  const bool hasPayload = vantor::monitor::hasPayload(packet);
  if (last.empty() || isDiscontinuityIndicated(packet)) {
    last = packet;
    wasRepeated = false;
    return Continuity::kWhole;
  }
  const int counter = counterOf(packet);
  const int before = counterOf(last);
  if (hasPayload && counter == before && !wasRepeated && repeats(packet)) {
    wasRepeated = true;
    return Continuity::kDoubled;
  }
  last = packet;
  wasRepeated = false;
  const int expected = hasPayload ? (before + 1) & kContinuityMask : before;
  return counter == expected ? Continuity::kWhole : Continuity::kBroken;
}

/// Every byte is the same but for a PCR, which tells the time of the repetition.
bool ContinuityCheck::repeats(std::string_view packet) const {
  std::string a(packet);
  std::string b(last);
  if (pcrOf(packet)) a.replace(kPcrOffset, kPcrSize, kPcrSize, '\0');
  if (pcrOf(last)) b.replace(kPcrOffset, kPcrSize, kPcrSize, '\0');
  return a == b;
}

}  // namespace vantor::monitor
