#include "servicemux/packetize/TableFacts.h"

#include <cstdint>
#include <string_view>

#include "interface/psi/packet.h"
#include "interface/psi/section.h"

namespace vantor {

namespace {

std::uint8_t byteAt(std::string_view bytes, std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); }

std::uint16_t wordAt(std::string_view bytes, std::size_t i) {
  return static_cast<std::uint16_t>(byteAt(bytes, i) << 8 | byteAt(bytes, i + 1));
}

/// Which stream the table is of, where its payload begins with that: EN 300 468 clauses 5.2.3 and 5.2.4.
void readStream(std::string_view section, psi::TableKey& key) {
  constexpr std::size_t kFirst = kLongSectionHeaderSize;
  if (psi::kSdtActual.has(key.table_id) || psi::kSdtOther.has(key.table_id)) {
    key.transport_stream_id = key.extension;
    key.original_network_id = wordAt(section, kFirst);
  } else if (key.table_id >= kEitPfActualTableId && key.table_id <= kEitScheduleOtherLast) {
    key.transport_stream_id = wordAt(section, kFirst);
    key.original_network_id = wordAt(section, kFirst + 2);
  }
}

void readHeader(std::string_view section, TableFacts& facts) {
  facts.hasSection = true;
  facts.key.table_id = byteAt(section, 0);
  const bool hasLongHeader = (byteAt(section, 1) & kSectionSyntax) != 0;
  if (!hasLongHeader || section.size() < kLongSectionHeaderSize + kCrcSize + 4) return;
  facts.key.extension = wordAt(section, kExtensionOffset);
  facts.version = byteAt(section, kVersionOffset) >> 1 & kMaxVersion;
  readStream(section, facts.key);
}

/// Takes the sections that stand back to back at the beginning of `payload`.
void readSections(std::string_view payload, TableFacts& facts) {
  while (payload.size() >= kSectionHeaderSize && byteAt(payload, 0) != kStuffing) {
    const std::size_t size = kSectionHeaderSize + (wordAt(payload, 1) & kSectionLengthMask);
    if (size > payload.size()) return;
    if (!facts.hasSection) readHeader(payload.substr(0, size), facts);
    ++facts.sections;
    facts.bytes += static_cast<unsigned int>(size);
    payload.remove_prefix(size);
  }
}

bool beginsUnit(std::string_view packet) { return (byteAt(packet, 1) & kPayloadUnitStart) != 0; }

}  // namespace

TableFacts factsOf(const std::string& packets) {
  TableFacts facts;
  std::string payload;
  for (std::size_t i = 0; i + kPacketSize <= packets.size(); i += kPacketSize) {
    const std::string_view packet = std::string_view(packets).substr(i, kPacketSize);
    ++facts.packets;
    if (beginsUnit(packet)) {
      readSections(payload, facts);
      payload = packet.substr(kPacketHeaderSize + 1);
    } else if (!payload.empty()) {
      payload += packet.substr(kPacketHeaderSize);
    }
  }
  readSections(payload, facts);
  return facts;
}

}  // namespace vantor
