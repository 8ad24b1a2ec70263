#pragma once

#include <cstddef>
#include <cstdint>

#include "servicemux/sections/generate.h"

/// The part of making sections that is the same for all of ATSC's tables.

namespace vantor {

/// The fields of the header that are the same in all sections of one table, ATSC A/65 clause 4.3.
struct PsipHeader {
  std::uint8_t tableId;
  std::uint16_t extension;
  std::uint8_t version;
  bool currentNext;
  std::uint8_t protocol;
};

/// Writes the sections of one PSIP table: begin() starts a section, the put functions append to the section that
/// was started last, and finish() completes them all. Numbers are written with the high byte first. Nothing here
/// checks that what is appended fits in `sectionSize` bytes, the CRC_32 included; the caller has to.
class PsipSections {
 public:
  PsipSections(dvbpsi_t* handle, const PsipHeader& header, std::size_t sectionSize)
      : handle(handle), header(header), sectionSize(static_cast<int>(sectionSize)) {}

  /// Starts another section and writes its header, protocol_version included. False when there is no memory for it.
  [[nodiscard]] bool begin();

  void put8(unsigned int value) { *last->p_payload_end++ = static_cast<std::uint8_t>(value); }
  void put16(unsigned int value);
  void put32(std::uint32_t value);
  void putBytes(const std::uint8_t* bytes, std::size_t size);
  /// Appends the descriptors from `first` up to the one before `end`.
  void putDescriptors(const dvbpsi_descriptor_t* first, const dvbpsi_descriptor_t* end);
  /// Appends a descriptor loop: 16 bits with the length of the descriptors and then the descriptors. `reserved` are
  /// the bits above the length.
  void putLoop(unsigned int reserved, const dvbpsi_descriptor_t* first, const dvbpsi_descriptor_t* end);

  /// Numbers the sections, fills in their lengths and CRC_32 and hands them to the caller. Null when there are more
  /// sections than section_number can count.
  [[nodiscard]] dvbpsi_psi_section_t* finish();

 private:
  dvbpsi_t* const handle;
  const PsipHeader header;
  const int sectionSize;
  SectionChain first;
  dvbpsi_psi_section_t* last = nullptr;
  std::size_t count = 0;
};

/// Tells how many nodes at the beginning of a list fit in `room` bytes, and how many bytes those take. `end` is the
/// first node that does not fit any more, null when all do.
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

/// Makes the sections of a table that has a list of items and, behind it, descriptors of its own. An item is never
/// divided between two sections. `Layout` stands for the kind of table:
/// - kRoom is the bytes that a section has for items and descriptors, and those of an item before its descriptors.
/// - kReserved is the bits above the length of each descriptor loop.
/// - putCount writes the number of items in the section, which comes before them.
/// - putHead writes an item up to the length of its descriptors.
///
/// Null when an item is too long for a section, or when there is no memory or no section_number left.
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
