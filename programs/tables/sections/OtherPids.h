#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "programs/tables/sections/SectionAssembler.h"

namespace vantor::tables {

/// Looks for sections on the PIDs of a transport stream that no table names as a place for them. A section counts
/// when it has the section_syntax_indicator and with it a CRC_32, which what is no section hardly ever has; on PIDs
/// that are said to carry sections it may be without. A PID with packets of an elementary stream, or scrambled
/// ones, has none. Which PIDs tables name is known when all have come, so what is found is kept until it is asked
/// for.
class OtherPids {
 public:
  /// Takes the PID's next packet (188 bytes, in sync).
  void push(std::uint16_t pid, std::string_view packet);

  /// The PIDs on which there were packets.
  [[nodiscard]] std::vector<std::uint16_t> pids() const;

  struct Found {
    Section section;
    std::uint64_t times;  ///< it came
  };

  /// The different sections of a PID in the order in which they came first; those without syntax only where
  /// sections are `expected`, and of them the last ones.
  [[nodiscard]] std::vector<Found> sectionsOf(std::uint16_t pid, bool expected) const;

 private:
  struct Pid {
    bool isOther = false;  // its packets carry no sections
    std::deque<Section> sections;
    std::deque<Section> withoutSyntax;
    std::map<std::string, std::uint64_t, std::less<>> times;
  };

  static void take(Pid& pid, const Section& section);

  std::map<std::uint16_t, Pid> found;
  std::map<std::uint16_t, SectionAssembler> assemblers;
};

}  // namespace vantor::tables
