#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "programs/tables/sections/Section.h"

namespace vantor::tables {

/// private_sections, ISO/IEC 13818-1 table 2-34.
constexpr std::int16_t kPrivateSections = 0x05;

/// Whether a PMT's streams of this type are sections: private ones, those of DSM-CC, of metadata and splice info.
/// The last is an audio stream in other systems.
[[nodiscard]] bool carriesSections(std::int16_t streamType);

/// The PIDs of a transport stream on which sections are to be found: those that the standards reserve for them, and
/// those that tables point at.
class SignallingPids {
 public:
  static const std::vector<std::uint16_t>& reserved();

  /// What a section found on `pid` points at; PAT sections come before those of the PMTs. A pointer counts only in
  /// a table on the table's own PID, so that the chain comes to an end. A section whose lengths are wrong points at
  /// nothing beyond the fault.
  std::vector<std::uint16_t> namedBy(std::uint16_t pid, const Section& section);

  /// The PIDs on which PMTs have streams that should be sections.
  const std::set<std::uint16_t>& streams() const { return sectionStreams; }

 private:
  std::set<std::uint16_t> pmtPids;
  std::set<std::uint16_t> sectionStreams;
};

}  // namespace vantor::tables
