#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "programs/tables/descriptors/bytes.h"
#include "programs/tables/descriptors/descriptors.h"

/// Loops of a section's payload. Reading them here, and not with libdvbpsi's decoders, keeps in view which section
/// an item came in.

namespace vantor::tables {

/// The lower 12 bits of a loop's length field.
inline std::size_t loopLength(std::string_view bytes, std::size_t at) { return wordAt(bytes, at) & 0x0FFF; }

/// Takes a loop with its length field off the front. Both must be there.
std::string_view takeLoop(std::string_view& bytes);

/// True when whole descriptors fill these bytes exactly.
bool holdsDescriptors(std::string_view bytes);

/// One item of a loop of items: its fixed part, which ends in the length of its descriptors, and these.
struct LoopItem {
  std::string_view head;
  std::string_view descriptors;
};

/// True when whole items with heads of this size, holding whole descriptors, fill these bytes exactly.
bool holdsItems(std::string_view loop, std::size_t headSize);

/// The items of a loop that holds items of this size.
std::vector<LoopItem> itemsOf(std::string_view loop, std::size_t headSize);

/// The descriptors of a loop that holds whole ones.
Descriptors descriptorsOf(std::string_view loop);

}  // namespace vantor::tables
