#include "servicemux/streams/SubTable.h"

#include <cstdlib>
#include <cstring>

#include "interface/psi/packet.h"
#include "servicemux/streams/SttSource.h"

namespace vantor {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;

SubTable::SubTable(std::string& packets, unsigned int period, unsigned char nSections, bool dynamic,
                   SttSource* registry)
    : dynamic(dynamic), registry(registry), dueTime(boost::chrono::steady_clock::now()) {
  if (period != 0) dueTime += milliseconds(random() % period);
  NewPackets(packets);
  NewNSections(nSections);
  NewPeriod(period);
}

void SubTable::NewPackets(std::string& newPackets) {
  packets.swap(newPackets);
  readOffset = 0;
}

void SubTable::NewNSections(unsigned char nSections) { numberOfSections = nSections; }

void SubTable::NewPeriod(unsigned int newPeriod) {
  period = newPeriod;
  const auto bits = 8000U * static_cast<std::uint32_t>(packets.size());
  // One more than what one sending per period takes, and 32-bit arithmetic: both are kept for compatibility. A
  // dynamic subtable, which has no packets of its own, counts as 1 bit/s thereby.
  bitrate = period == 0 ? 0 : (bits + period) / period;
}

nanoseconds SubTable::getCurrentTicket(time_point now) const {
  return now >= dueTime ? now - dueTime : nanoseconds::zero();
}

bool SubTable::CheckIfPayloadUnitStart() const {
  return (static_cast<unsigned char>(packets[readOffset + 1]) & kPayloadUnitStart) != 0;
}

bool SubTable::GetSubtablePacket(signed char* packet) {
  if (dynamic) {
    if (registry != nullptr) registry->fillSTTData(reinterpret_cast<unsigned char*>(packet));
    completeRepetition();
    return true;
  }
  std::memcpy(packet, packets.data() + readOffset, kPacketSize);
  readOffset += kPacketSize;
  if (readOffset < packets.size()) return CheckIfPayloadUnitStart();
  completeRepetition();
  return true;
}

void SubTable::completeRepetition() {
  readOffset = 0;
  dueTime += milliseconds(period);
}

}  // namespace vantor
