#pragma once

#include <utility>
#include <vector>

#include "interface/psi/sectioning.h"

namespace vantor::tables {

template <typename Item>
std::size_t wireSize(const Item& item, const SectionRoom& room) {
  std::size_t size = room.itemHead;
  for (const auto& descriptor : item.descriptors) size += 2 + descriptor.data.size();
  return size;
}

/// Appends the items of successive sections of a capture and marks those that begin a section though the one before
/// has room, so that the library divides them in the same way. No section is longer than `room` but by accident;
/// then it is divided.
template <typename Item>
void appendSections(std::vector<std::vector<Item>> sections, const SectionRoom& room, std::vector<Item>& items) {
  std::size_t used = 0;
  for (std::vector<Item>& section : sections) {
    bool first = true;
    for (Item& item : section) {
      const std::size_t size = wireSize(item, room);
      const bool fits = used + size <= room.bytes;
      const bool marked = first && used > 0 && fits;
      if (marked) item.__set_starts_section(true);
      used = marked || !fits ? size : used + size;
      first = false;
      items.push_back(std::move(item));
    }
  }
}

}  // namespace vantor::tables
