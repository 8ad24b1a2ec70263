#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "programs/inputs/PacketSource.h"
#include "programs/tables/kinds/TableKind.h"
#include "programs/tables/kinds/TableSet.h"
#include "programs/tables/sections/Section.h"
#include "programs/tables/sections/SubtableKey.h"

namespace vantor::tables {

/// What a capture holds: the tables this system knows, and an account of all the rest.
struct Capture {
  /// A file of sections has no PIDs.
  static constexpr int kNoPid = -1;

  /// A subtable that was taken from the capture.
  struct Import {
    const TableKind* kind = nullptr;
    std::size_t versions = 0;  ///< that came one after the other
    std::size_t rewrites = 0;  ///< of them those that came under the same version as the one before
    int version = 0;           ///< of the one kept
    bool current = false;      ///< the one kept; false when all were announcements of a next version
    bool whole = true;         ///< false when not all of its sections are in the capture
    bool asSections = false;   ///< kept as it came: it has no kind of its own, or that cannot express it
    bool scattered = false;    ///< its sections are of several versions, none of which was ever whole
  };

  /// Sections of one table id, all that were found.
  struct Sections {
    std::uint64_t count = 0;
    std::set<int> pids;
  };

  TableSet tables;
  std::map<SubtableKey, Import> imports;                         ///< of a single table without extension
  std::map<SubtableKey, const TableKind*> unfinished;            ///< never whole, and of no use in part
  std::vector<std::string> leftOut;                              ///< what else is not taken and why, one line each
  std::map<std::uint8_t, Sections> sections;                     ///< whole and valid ones, by table id
  std::map<std::pair<int, SectionFault>, std::uint64_t> faults;  ///< sections lost, by PID and reason
  bool hasPids = false;                                          ///< false for a file of sections
  std::uint64_t packets = 0;
  std::uint64_t otherPackets = 0;  ///< of them on PIDs without signalling
  std::set<int> otherPids;
  std::map<std::uint16_t, std::uint64_t> missedPackets;  ///< by PID, from before anything named it
  inputs::InputCounts input;                             ///< what was between the packets
  std::vector<std::string> inputNotes;                   ///< what else is to be told of the input
};

/// When to stop reading an input that has not come to its end.
struct ReadingEnd {
  using Clock = std::chrono::steady_clock;

  Clock::time_point deadline = Clock::time_point::max();
  /// Asked now and then, several times a second unless the input itself keeps who reads it waiting; false ends it.
  std::function<bool(const inputs::PacketSource&)> goesOn = [](const inputs::PacketSource&) { return true; };
};

/// Reads packets. Sections are taken from the PIDs that the standards reserve for them, from those that PAT, CAT,
/// PMTs and MGT point at, and from all others on which there are sections. What no kind takes is kept as whole
/// sections. Throws InputError when the source cannot be read on.
Capture readTransportStream(inputs::PacketSource& source, const ReadingEnd& end = {});

/// Reads sections that lie back to back. Those that no kind takes are kept as whole sections as far as their PIDs
/// can be told. Throws InputError when the bytes do not divide into sections.
Capture readSections(std::string_view bytes);

}  // namespace vantor::tables
