#pragma once

#include <vector>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// The sections in the order of their numbers.
std::vector<Section> inOrder(const NumberedSections& numbered);

/// Gathers the sections of one subtable, which come in any order and again and again, version by version. Where
/// each section has a meaning of its own, some broadcasters count the version of each by itself: then no version is
/// ever whole, and the newest section of each number is what there is.
class SubtableBuilder {
 public:
  /// With `sectionsStandAlone`, a section with other content under the same version leaves the others as they are.
  explicit SubtableBuilder(bool sectionsStandAlone) : sectionsStandAlone(sectionsStandAlone) {}

  /// Takes a section of the subtable. Returns false when it is there already.
  [[nodiscard]] bool add(const Section& section);

  /// What is there of the version under way.
  const NumberedSections& numbered() const { return parts; }
  /// The same in the order of the numbers.
  std::vector<Section> sections() const { return inOrder(parts); }

  /// Says that a version is whole: from here on there is no need for newest().
  void settle();
  /// The section of each number that came last, whatever its version, where sections stand alone and no version was
  /// whole. Announcements of a next version have no part in it unless there is nothing else.
  const NumberedSections& newest() const { return latest; }

 private:
  bool isSameVersion(const Section& section) const;

  void keepNewest(const Section& section);

  const bool sectionsStandAlone;
  NumberedSections parts;
  NumberedSections latest;
  bool settled = false;
};

}  // namespace vantor::tables
