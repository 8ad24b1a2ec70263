#pragma once

#include <cstddef>
#include <cstdint>

#include "servicemux/sections/generate.h"

/// What the generators of ATSC's tables share.

namespace vantor {

/// The header that all sections of a PSIP table have, ATSC A/65 clause 4.3.
struct PsipHeader {
  std::uint8_t tableId;
  std::uint16_t extension;
  std::uint8_t version;
  bool currentNext;
  std::uint8_t protocol;
};

/// Writes the sections of a PSIP table one after the other, big-endian. Whoever writes sees to it that a section
/// does not outgrow its size.
class PsipSections {
 public:
  PsipSections(dvbpsi_t* handle, const PsipHeader& header, std::size_t sectionSize)
      : handle(handle), header(header), sectionSize(static_cast<int>(sectionSize)) {}

  /// Begins another section, up to its protocol_version. False when there is no memory for it.
  [[nodiscard]] bool begin();

  void put8(unsigned int value) { *last->p_payload_end++ = static_cast<std::uint8_t>(value); }
  void put16(unsigned int value);
  void put32(std::uint32_t value);
  void putBytes(const std::uint8_t* bytes, std::size_t size);
  /// The descriptors from `first` to before `end`.
  void putDescriptors(const dvbpsi_descriptor_t* first, const dvbpsi_descriptor_t* end);
  /// The same behind the 16 bits of their length, whose upper bits are `reserved`.
  void putLoop(unsigned int reserved, const dvbpsi_descriptor_t* first, const dvbpsi_descriptor_t* end);

  /// Numbers the sections and gives them their lengths and CRC_32. Null when there are more than section_number can
  /// count.
  [[nodiscard]] dvbpsi_psi_section_t* finish();

 private:
  dvbpsi_t* const handle;
  const PsipHeader header;
  const int sectionSize;
  SectionChain first;
  dvbpsi_psi_section_t* last = nullptr;
  std::size_t count = 0;
};

/// The nodes at the beginning of a list that fit in a room.
template <typename Node>
struct Fitting {
  template <typename Size>
  Fitting(const Node* begin, std::size_t room, Size sizeOf) : end(begin) {
    for (; end != nullptr && bytes + sizeOf(*end) <= room; end = end->p_next) {
      bytes += sizeOf(*end);
      ++count;
    }
  }

  const Node* end;
  unsigned int count = 0;
  std::size_t bytes = 0;
};

/// Makes the sections of a table of items, which are never divided, and of descriptors of its own behind them. The
/// layout tells how many bytes a section has for both, what comes before the items, how an item begins, and the
/// reserved bits of its loops' lengths.
template <typename Layout, typename Item>
dvbpsi_psi_section_t* generatePsip(PsipSections sections, const Layout& layout, const Item* item,
                                   const dvbpsi_descriptor_t* descriptor) {
  const std::size_t room = Layout::kRoom.bytes;
  const auto itemSize = [](const Item& it) { return Layout::kRoom.itemHead + loopSize(it.p_first_descriptor); };
  const auto descriptorSize = [](const dvbpsi_descriptor_t& it) { return std::size_t{2} + it.i_length; };
  do {
    const Fitting items(item, room, itemSize);
    if (items.count == 0 && item != nullptr) return nullptr;
    const Fitting own(descriptor, items.end == nullptr ? room - items.bytes : 0, descriptorSize);
    if (!sections.begin()) return nullptr;
    layout.putCount(sections, items.count);
    for (; item != nullptr && item != items.end; item = item->p_next) {
      layout.putHead(sections, *item);
      sections.putLoop(Layout::kReserved, item->p_first_descriptor, nullptr);
    }
    sections.putLoop(Layout::kReserved, descriptor, own.end);
    descriptor = own.end;
  } while (item != nullptr || descriptor != nullptr);
  return sections.finish();
}

}  // namespace vantor
