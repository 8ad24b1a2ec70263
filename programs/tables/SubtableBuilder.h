#pragma once

#include <vector>

#include "programs/tables/Section.h"

namespace vantor::tables {

class TableKind;

/// Gathers the sections of one subtable, which come in any order and again and again, until one version is whole.
class SubtableBuilder {
 public:
  /// `kind` says when a version is whole, and must outlive the builder.
  explicit SubtableBuilder(const TableKind& kind) : kind(kind) {}

  /// Takes a section of the subtable. Returns true when it made a version whole that was not whole before; then
  /// sections() are that version's.
  [[nodiscard]] bool add(const Section& section);

  const TableKind& tableKind() const { return kind; }

  /// What is there of the version under way, by section_number.
  std::vector<Section> sections() const;

 private:
  bool isSameVersion(const Section& section) const;

  const TableKind& kind;
  NumberedSections parts;
};

}  // namespace vantor::tables
