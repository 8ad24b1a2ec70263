#pragma once

#include <vector>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// Gathers the sections of one subtable, which come in any order and again and again, version by version.
class SubtableBuilder {
 public:
  /// With `sectionsStandAlone`, a section with other content under the same version leaves the others as they are.
  explicit SubtableBuilder(bool sectionsStandAlone) : sectionsStandAlone(sectionsStandAlone) {}

  /// Takes a section of the subtable. Returns false when it is there already.
  [[nodiscard]] bool add(const Section& section);

  /// What is there of the version under way.
  const NumberedSections& numbered() const { return parts; }
  /// The same in the order of the numbers.
  std::vector<Section> sections() const;

 private:
  bool isSameVersion(const Section& section) const;

  const bool sectionsStandAlone;
  NumberedSections parts;
};

}  // namespace vantor::tables
