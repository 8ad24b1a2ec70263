#include "servicemux/streams/SubTable.h"

#include <cstdlib>

#include "interface/psi/packet.h"
#include "servicemux/muxer/classicRates.h"
#include "servicemux/streams/SttSource.h"

namespace vantor {

namespace {

/// A random moment within the period, from now on.
SubTable::time_point firstDueTime(unsigned int period) {
  const auto now = boost::chrono::steady_clock::now();
  return period == 0 ? now : now + boost::chrono::milliseconds(random() % period);
}

}  // namespace

SubTable::SubTable(std::string& packets, unsigned int period, unsigned char nSections, bool dynamic,
                   SttSource* registry)
    : ClassicTurn(firstDueTime(period)), dynamic(dynamic), registry(registry) {
  NewPackets(packets);
  NewNSections(nSections);
  NewPeriod(period);
}

void SubTable::NewPackets(std::string& newPackets) { content.swap(newPackets); }

void SubTable::NewNSections(unsigned char nSections) { numberOfSections = nSections; }

void SubTable::NewPeriod(unsigned int newPeriod) {
  period = newPeriod;
  bitrate = classic::subtableBitrate(content.bytes().size(), period);
}

boost::chrono::nanoseconds SubTable::getCurrentTicket(time_point now) const { return ticket(now); }

bool SubTable::CheckIfPayloadUnitStart() const { return content.beginsSection(); }

void SubTable::makePacket(std::string& packets) const {
  const std::size_t begin = packets.size();
  packets.resize(begin + kPacketSize);
  if (registry != nullptr) registry->fillSTTData(reinterpret_cast<unsigned char*>(packets.data() + begin));
}

bool SubTable::GetSubtablePacket(signed char* packet) {
  if (dynamic) {
    if (registry != nullptr) registry->fillSTTData(reinterpret_cast<unsigned char*>(packet));
  } else {
    content.take(packet);
    if (!content.isAtBeginning()) return CheckIfPayloadUnitStart();
  }
  complete(period);
  return true;
}

}  // namespace vantor
