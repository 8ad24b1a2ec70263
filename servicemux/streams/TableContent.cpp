#include "servicemux/streams/TableContent.h"

#include <cstring>

#include "interface/psi/packet.h"

namespace vantor {

namespace {

bool isUnitStart(const std::string& packets, std::size_t offset) {
  return (static_cast<unsigned char>(packets[offset + 1]) & kPayloadUnitStart) != 0;
}

/// In packets; what comes before the first payload_unit_start_indicator counts as one.
std::vector<std::uint32_t> sectionBegins(const std::string& packets) {
  std::vector<std::uint32_t> begins;
  for (std::size_t offset = 0; offset < packets.size(); offset += kPacketSize)
    if (offset == 0 || isUnitStart(packets, offset))
      begins.push_back(static_cast<std::uint32_t>(offset / kPacketSize));
  begins.shrink_to_fit();
  return begins;
}

}  // namespace

void TableContent::swap(std::string& newPackets) {
  sections = sectionBegins(newPackets);
  packets.swap(newPackets);
  readOffset = 0;
}

void TableContent::clear() {
  packets.clear();
  sections.clear();
  readOffset = 0;
}

bool TableContent::beginsSection() const { return isUnitStart(packets, readOffset); }

std::size_t TableContent::sectionEnd(std::size_t section) const {
  return section + 1 < sections.size() ? sections[section + 1] : packets.size() / kPacketSize;
}

std::vector<std::uint32_t> TableContent::sectionPackets() const {
  std::vector<std::uint32_t> counts(sections.size());
  for (std::size_t i = 0; i < counts.size(); ++i)
    counts[i] = static_cast<std::uint32_t>(sectionEnd(i) - sections[i]);
  return counts;
}

bool TableContent::copySection(std::size_t section, std::string& to) const {
  if (section >= sections.size()) return false;
  const std::size_t begin = sections[section];
  to.append(packets, begin * kPacketSize, (sectionEnd(section) - begin) * kPacketSize);
  return true;
}

void TableContent::take(signed char* packet) {
  std::memcpy(packet, packets.data() + readOffset, kPacketSize);
  readOffset += kPacketSize;
  if (readOffset >= packets.size()) readOffset = 0;
}

}  // namespace vantor
