#include "programs/tables/kinds/SignallingPids.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "interface/psi/descriptors.h"
#include "interface/psi/pids.h"
#include "interface/psi/sectioning.h"
#include "interface/psi/tableIds.h"
#include "programs/tables/descriptors/loops.h"

namespace vantor::tables {

namespace {

constexpr std::size_t kCaPidOffset = 4;  // within the descriptor, ISO/IEC 13818-1 clause 2.6.16

using Pids = std::vector<std::uint16_t>;

/// Takes `size` bytes, or what there is, off the front.
std::string_view take(std::string_view& bytes, std::size_t size) {
  const std::string_view front = bytes.substr(0, std::min(size, bytes.size()));
  bytes.remove_prefix(front.size());
  return front;
}

void appendCaPids(std::string_view descriptors, Pids& out) {
  while (descriptors.size() >= kDescriptorHeaderSize) {
    const std::string_view descriptor = take(descriptors, kDescriptorHeaderSize + byteAt(descriptors, 1));
    if (byteAt(descriptor, 0) == kCaDescriptorTag && descriptor.size() >= kCaPidOffset + 2)
      out.push_back(pidAt(descriptor, kCaPidOffset));
  }
}

/// Network and program map PIDs.
Pids pidsOfPat(const Section& section) {
  Pids out;
  const std::string_view programs = section.payload();
  for (std::size_t at = 0; at + kPatProgramSize <= programs.size(); at += kPatProgramSize)
    out.push_back(pidAt(programs, at + 2));
  return out;
}

/// EMM PIDs.
Pids pidsOfCat(const Section& section) {
  Pids out;
  appendCaPids(section.payload(), out);
  return out;
}

/// ECM PIDs; adds those of streams that are sections to `streams`.
Pids pidsOfPmt(const Section& section, std::set<std::uint16_t>& streams) {
  Pids out;
  std::string_view rest = section.payload();
  if (rest.size() < kPmtHead) return out;
  const std::string_view program = take(rest, kPmtHead);
  appendCaPids(take(rest, loopLength(program, 2)), out);
  while (rest.size() >= kPmtStreamHead) {
    const std::string_view stream = take(rest, kPmtStreamHead);
    if (carriesSections(byteAt(stream, 0))) streams.insert(pidAt(stream, 1));
    appendCaPids(take(rest, loopLength(stream, 3)), out);
  }
  return out;
}

/// PIDs of the tables that it lists.
Pids pidsOfMgt(const Section& section) {
  Pids out;
  std::string_view rest = section.payload();
  if (rest.size() < kMgtHead) return out;
  std::size_t tables = wordAt(take(rest, kMgtHead), 1);
  for (; tables > 0 && rest.size() >= kMgtRoom.itemHead; --tables) {
    const std::string_view table = take(rest, kMgtRoom.itemHead);
    out.push_back(pidAt(table, 2));
    take(rest, loopLength(table, 9));
  }
  return out;
}

}  // namespace

bool carriesSections(std::int16_t streamType) {
  // ISO/IEC 13818-1 table 2-34: DSM-CC of ISO/IEC 13818-6 types A to D, synchronized download, metadata. SCTE 35
  // clause 8.1.
  constexpr std::int16_t kTypes[] = {kPrivateSections, 0x0A, 0x0B, 0x0C, 0x0D, 0x14, 0x16, 0x86};
  return std::find(std::begin(kTypes), std::end(kTypes), streamType) != std::end(kTypes);
}

const Pids& SignallingPids::reserved() {
  static const Pids pids{kPatPid, kCatPid,  kTsdtPid, kNitPid, kSdtPid, kEitPid,
                         kRstPid, kTimePid, kDitPid,  kSitPid, kPsipPid};
  return pids;
}

Pids SignallingPids::namedBy(std::uint16_t pid, const Section& section) {
  if (!section.hasSyntax()) return {};
  if (pid == kPatPid && section.tableId() == kPatTableId) {
    Pids found = pidsOfPat(section);
    pmtPids.insert(found.begin(), found.end());
    return found;
  }
  if (pid == kCatPid && section.tableId() == kCatTableId) return pidsOfCat(section);
  if (section.tableId() == kPmtTableId && pmtPids.count(pid) != 0) return pidsOfPmt(section, sectionStreams);
  if (pid == kPsipPid && section.tableId() == kMgtTableId) return pidsOfMgt(section);
  return {};
}

}  // namespace vantor::tables
