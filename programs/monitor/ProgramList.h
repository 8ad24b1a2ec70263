#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "programs/tables/sections/Section.h"

namespace vantor::monitor {

/// Which PMTs there should be, as the PAT's sections come, version by version. No thread, no clock.
class ProgramList {
 public:
  /// The PID of a PMT, and its program_number.
  using Program = std::pair<std::uint16_t, std::uint16_t>;

  /// Takes a section of the PAT that is in force.
  void take(const tables::Section& pat);

  /// Those of the sections that have come.
  [[nodiscard]] std::set<Program> programs() const;

  /// Whether all sections have come, and there are no other programs.
  [[nodiscard]] bool isWhole() const { return sections.size() > lastNumber; }

 private:
  std::map<std::uint8_t, std::set<Program>> sections;
  std::uint16_t stream = 0;
  int version = -1;
  std::size_t lastNumber = 0;
};

}  // namespace vantor::monitor
