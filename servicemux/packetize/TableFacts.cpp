#include "servicemux/packetize/TableFacts.h"

#include <cstdint>

#include "interface/psi/packet.h"
#include "interface/psi/section.h"

namespace vantor {

namespace {

/// What packets carry from one payload_unit_start_indicator to the next, behind a pointer_field of 0.
class Unit {
 public:
  Unit(const char* packets, std::size_t count) : packets(packets), count(count) {}

  [[nodiscard]] std::size_t size() const { return kFirstRoom + (count - 1) * kRoom; }

  [[nodiscard]] std::uint8_t byte(std::size_t i) const {
    if (i < kFirstRoom) return static_cast<std::uint8_t>(packets[kPacketSize - kFirstRoom + i]);
    const std::size_t packet = 1 + (i - kFirstRoom) / kRoom;
    return static_cast<std::uint8_t>(packets[packet * kPacketSize + kPacketHeaderSize + (i - kFirstRoom) % kRoom]);
  }

  [[nodiscard]] std::uint16_t word(std::size_t i) const {
    return static_cast<std::uint16_t>(byte(i) << 8 | byte(i + 1));
  }

 private:
  static constexpr std::size_t kRoom = kPacketSize - kPacketHeaderSize;
  static constexpr std::size_t kFirstRoom = kRoom - 1;

  const char* const packets;
  const std::size_t count;
};

/// Which stream the table is of, where its payload begins with that: EN 300 468 clauses 5.2.3 and 5.2.4.
void readStream(const Unit& unit, std::size_t size, psi::TableKey& key) {
  constexpr std::size_t kPayload = kLongSectionHeaderSize;
  if (size < kPayload + 4) return;
  if (psi::kSdtActual.has(key.table_id) || psi::kSdtOther.has(key.table_id)) {
    key.transport_stream_id = key.extension;
    key.original_network_id = unit.word(kPayload);
  } else if (kEitPfActualTableId <= key.table_id && key.table_id <= kEitScheduleOtherLast) {
    key.transport_stream_id = unit.word(kPayload);
    key.original_network_id = unit.word(kPayload + 2);
  }
}

/// Reads the header of the section of so many bytes that the unit begins with.
void readHeader(const Unit& unit, std::size_t size, TableFacts& facts) {
  facts.hasSection = true;
  facts.key.table_id = unit.byte(0);
  const bool hasLongHeader = (unit.byte(1) & kSectionSyntax) != 0;
  if (!hasLongHeader || size < kLongSectionHeaderSize) return;
  facts.key.extension = unit.word(kExtensionOffset);
  facts.version = unit.byte(kVersionOffset) >> 1 & kMaxVersion;
  readStream(unit, size, facts.key);
}

/// Takes the sections that stand back to back at the unit's beginning.
void readSections(const Unit& unit, TableFacts& facts) {
  std::size_t begin = 0;
  while (begin + kSectionHeaderSize <= unit.size() && unit.byte(begin) != kStuffing) {
    const std::size_t size = kSectionHeaderSize + (unit.word(begin + 1) & kSectionLengthMask);
    if (begin + size > unit.size()) return;
    if (!facts.hasSection) readHeader(unit, size, facts);
    ++facts.sections;
    facts.bytes += static_cast<unsigned int>(size);
    begin += size;
  }
}

bool beginsUnit(const char* packet) { return (static_cast<std::uint8_t>(packet[1]) & kPayloadUnitStart) != 0; }

}  // namespace

TableFacts factsOf(const std::string& packets) {
  const std::size_t count = packets.size() / kPacketSize;
  const auto packet = [&packets](std::size_t i) { return packets.data() + i * kPacketSize; };
  TableFacts facts;
  facts.packets = static_cast<unsigned int>(count);
  for (std::size_t first = 0, end = 0; first < count; first = end) {
    end = first + 1;
    while (end < count && !beginsUnit(packet(end))) ++end;
    if (beginsUnit(packet(first))) readSections({packet(first), end - first}, facts);
  }
  return facts;
}

}  // namespace vantor
