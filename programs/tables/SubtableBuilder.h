#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "programs/tables/Section.h"

namespace vantor::tables {

/// Gathers the sections of one subtable, which come in any order and again and again, until one version is whole.
class SubtableBuilder {
 public:
  /// Takes a section of the subtable. Returns true when it made a version whole that was not whole before; then
  /// sections() are that version's.
  [[nodiscard]] bool add(const Section& section);

  /// What is there of the version under way, by section_number.
  std::vector<Section> sections() const;

 private:
  bool isSameVersion(const Section& section) const;

  std::map<std::uint8_t, Section> parts;
};

}  // namespace vantor::tables
