#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string_view>

#include "programs/tables/sections/SectionAssembler.h"

namespace vantor::tables {

/// Looks for sections on the PIDs of a transport stream that no table names as a place for them. A section counts
/// when it has the section_syntax_indicator and with it a CRC_32, which what is no section hardly ever has; on PIDs
/// that are said to carry sections it may be without. A PID with packets of an elementary stream has none.
class OtherPids {
 public:
  using SectionSink = std::function<void(std::uint16_t pid, const Section& section)>;

  explicit OtherPids(SectionSink onSection) : onSection(std::move(onSection)) {}

  /// Says of a PID that there are sections.
  void expect(std::uint16_t pid) { expected.insert(pid); }

  /// Takes the PID's next packet (188 bytes, in sync).
  void push(std::uint16_t pid, std::string_view packet);

  /// Whether a section was found there.
  [[nodiscard]] bool hasSections(std::uint16_t pid) const { return found.count(pid) != 0; }

 private:
  void take(std::uint16_t pid, const Section& section);

  const SectionSink onSection;
  std::set<std::uint16_t> expected;
  std::set<std::uint16_t> elementary;
  std::set<std::uint16_t> found;
  std::map<std::uint16_t, SectionAssembler> assemblers;
};

}  // namespace vantor::tables
