#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// The PIDs of sections from a file that has none, as far as something tells them: the standard that reserves one
/// for the table; the MGT, which lists ATSC's EITs and ETTs; or a PMT with a stream for them.
class SectionPids {
 public:
  /// The set must outlive the object and have its MGT and PMTs.
  explicit SectionPids(const TableSet& set);

  /// To be asked once for each of the sections in their order. None when nothing tells.
  [[nodiscard]] std::optional<std::uint16_t> pidOf(const Section& section);

 private:
  /// A table that the MGT lists, and what has been put there.
  struct Listed {
    std::int32_t type = 0;
    std::uint16_t pid = 0;
    int version = 0;
    std::int64_t room = 0;  // bytes
    std::map<std::pair<std::uint16_t, std::uint8_t>, Section> sections;
  };

  Listed* listedFor(const Section& section);
  [[nodiscard]] std::optional<std::uint16_t> streamFor(const Section& section) const;

  const TableSet& set;
  std::vector<Listed> listed;
};

}  // namespace vantor::tables
