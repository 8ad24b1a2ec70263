#pragma once

#include <memory>
#include <vector>

#include "interface/psi/sectioning.h"
#include "servicemux/sections/sections.h"

/// The part of making sections that is the same for several tables.

namespace vantor {

/// What libdvbpsi's functions work on; null when there is no memory for it.
using DvbpsiHandle = std::unique_ptr<dvbpsi_t, decltype(&dvbpsi_delete)>;

inline DvbpsiHandle newHandle(dvbpsi_msg_level level = DVBPSI_MSG_NONE) {
  return {dvbpsi_new(nullptr, level), &dvbpsi_delete};
}

/// Calls a libdvbpsi generator on a handle of its own.
template <typename Generator>
SectionChain generate(Generator generator, dvbpsi_msg_level level = DVBPSI_MSG_NONE) {
  const DvbpsiHandle handle = newHandle(level);
  return SectionChain(handle ? generator(handle.get()) : nullptr);
}

/// The items of a table's list. Its Part makes a table look as if it had only some of them, so that libdvbpsi can
/// be given the contents of one section at a time.
template <typename Table, typename Item>
class TableItems {
 public:
  TableItems(Table& table, Item* Table::*list) : table(table), list(list) {
    for (Item* item = table.*list; item != nullptr; item = item->p_next) items.push_back(item);
  }

  [[nodiscard]] std::size_t size() const { return items.size(); }
  [[nodiscard]] const Item& operator[](std::size_t i) const { return *items[i]; }

  /// As long as a Part lives, the table's list holds only the items from `begin` up to the one before `end`.
  class Part {
   public:
    Part(TableItems& whole, std::size_t begin, std::size_t end) : whole(whole), end(end) {
      whole.table.*whole.list = begin == end ? nullptr : whole.items[begin];
      if (end > 0) whole.items[end - 1]->p_next = nullptr;
    }
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;
    ~Part() {
      if (end > 0 && end < whole.size()) whole.items[end - 1]->p_next = whole.items[end];
      whole.table.*whole.list = whole.items.empty() ? nullptr : whole.items.front();
    }

   private:
    TableItems& whole;
    const std::size_t end;
  };

 private:
  Table& table;
  Item* Table::*const list;
  std::vector<Item*> items;
};

/// Bytes of a descriptor loop, without its length field.
inline std::size_t loopSize(const dvbpsi_descriptor_t* descriptor) {
  std::size_t size = 0;
  for (; descriptor != nullptr; descriptor = descriptor->p_next) size += 2U + descriptor->i_length;
  return size;
}

/// The first item behind the section that begins with item `begin`: one that starts a new section or finds no room
/// any more. When not even item `begin` has room, that is `begin` itself. The sections are divided here because
/// libdvbpsi writes behind the end of its buffer when it divides them.
template <typename Items>
std::size_t sectionEnd(const Items& items, const SectionStarts& starts, std::size_t begin, std::size_t end,
                       const SectionRoom& room) {
  std::size_t used = 0;
  std::size_t next = begin;
  for (; next < end; ++next) {
    used += room.itemHead + loopSize(items[next].p_first_descriptor);
    const bool startsNew = next > begin && next < starts.size() && starts[next];
    if (startsNew || used > room.bytes) break;
  }
  return next;
}

/// Takes in sections that were made one at a time and makes one chain of them, in the order in which they came.
class SectionGatherer {
 public:
  /// Makes the sections of the items from `begin` up to the one before `end` and appends them. When there are no
  /// items, that is one section without any. False when an item is too long for a section or libdvbpsi makes none.
  template <typename Items, typename Generator>
  [[nodiscard]] bool addItems(Items& items, const SectionStarts& starts, std::size_t begin, std::size_t end,
                              const SectionRoom& room, Generator generator) {
    do {
      const std::size_t next = sectionEnd(items, starts, begin, end, room);
      if (next == begin && begin != end) return false;
      const typename Items::Part part(items, begin, next);
      if (!add(generate(generator))) return false;
      begin = next;
    } while (begin < end);
    return true;
  }

  /// Appends the sections of a chain. False when the chain is null.
  [[nodiscard]] bool add(SectionChain chain) {
    if (!chain) return false;
    for (dvbpsi_psi_section_t* section = chain.release(); section != nullptr;) {
      dvbpsi_psi_section_t* const next = section->p_next;
      section->p_next = nullptr;
      sections.emplace_back(section);
      section = next;
    }
    return true;
  }

  [[nodiscard]] std::size_t size() const { return sections.size(); }
  dvbpsi_psi_section_t& operator[](std::size_t i) { return *sections[i]; }

  /// Numbers the sections from 0 on; false when there are more than section_number can count.
  [[nodiscard]] bool number() {
    if (sections.size() > kMaxSections) return false;
    for (std::size_t i = 0; i < sections.size(); ++i) {
      sections[i]->i_number = static_cast<unsigned char>(i);
      sections[i]->i_last_number = static_cast<unsigned char>(sections.size() - 1);
    }
    return true;
  }

  /// One chain of all sections, each written anew from its fields, CRC_32 included. Null when there is no memory.
  SectionChain chain() {
    const DvbpsiHandle handle = newHandle();
    if (!handle) return nullptr;
    SectionChain first;
    for (auto section = sections.rbegin(); section != sections.rend(); ++section) {
      dvbpsi_BuildPSISection(handle.get(), section->get());
      (*section)->p_next = first.release();
      first = std::move(*section);
    }
    return first;
  }

 private:
  std::vector<SectionChain> sections;
};

}  // namespace vantor
