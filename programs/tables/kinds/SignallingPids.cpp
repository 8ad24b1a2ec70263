#include "programs/tables/kinds/SignallingPids.h"

#include <algorithm>
#include <string_view>

#include "interface/psi/pids.h"

namespace vantor::tables {

namespace {

constexpr std::uint8_t kPatTableId = 0x00;
constexpr std::uint8_t kCatTableId = 0x01;
constexpr std::uint8_t kPmtTableId = 0x02;
constexpr std::uint8_t kMgtTableId = 0xC7;

constexpr std::uint8_t kCaDescriptor = 0x09;  // ISO/IEC 13818-1 clause 2.6.16
constexpr std::size_t kCaPidOffset = 4;       // within the descriptor

using Pids = std::vector<std::uint16_t>;

std::uint16_t pidAt(std::string_view bytes, std::size_t at) { return wordAt(bytes, at) & 0x1FFF; }

/// Takes `size` bytes, or what there is, off the front.
std::string_view take(std::string_view& bytes, std::size_t size) {
  const std::string_view front = bytes.substr(0, std::min(size, bytes.size()));
  bytes.remove_prefix(front.size());
  return front;
}

void appendCaPids(std::string_view descriptors, Pids& out) {
  while (descriptors.size() >= 2) {
    const std::string_view descriptor = take(descriptors, 2U + byteAt(descriptors, 1));
    if (byteAt(descriptor, 0) == kCaDescriptor && descriptor.size() >= kCaPidOffset + 2)
      out.push_back(pidAt(descriptor, kCaPidOffset));
  }
}

/// Network and program map PIDs.
Pids pidsOfPat(const Section& section) {
  Pids out;
  const std::string_view programs = section.payload();
  for (std::size_t at = 0; at + 4 <= programs.size(); at += 4) out.push_back(pidAt(programs, at + 2));
  return out;
}

/// EMM PIDs.
Pids pidsOfCat(const Section& section) {
  Pids out;
  appendCaPids(section.payload(), out);
  return out;
}

/// ECM PIDs.
Pids pidsOfPmt(const Section& section) {
  constexpr std::size_t kProgramHeader = 4;  // PCR_PID, program_info_length
  constexpr std::size_t kStreamHeader = 5;   // stream_type, elementary_PID, ES_info_length
  Pids out;
  std::string_view rest = section.payload();
  if (rest.size() < kProgramHeader) return out;
  const std::string_view program = take(rest, kProgramHeader);
  appendCaPids(take(rest, wordAt(program, 2) & 0x0FFF), out);
  while (rest.size() >= kStreamHeader) {
    const std::string_view stream = take(rest, kStreamHeader);
    appendCaPids(take(rest, wordAt(stream, 3) & 0x0FFF), out);
  }
  return out;
}

/// PIDs of the tables that it lists.
Pids pidsOfMgt(const Section& section) {
  constexpr std::size_t kHeader = 3;        // protocol_version, tables_defined
  constexpr std::size_t kTableHeader = 11;  // up to and with table_type_descriptors_length
  Pids out;
  std::string_view rest = section.payload();
  if (rest.size() < kHeader) return out;
  std::size_t tables = wordAt(take(rest, kHeader), 1);
  for (; tables > 0 && rest.size() >= kTableHeader; --tables) {
    const std::string_view table = take(rest, kTableHeader);
    out.push_back(pidAt(table, 2));
    take(rest, wordAt(table, 9) & 0x0FFF);
  }
  return out;
}

}  // namespace

const Pids& SignallingPids::reserved() {
  // ISO/IEC 13818-1 table 2-3, EN 300 468 table 1, ATSC A/65 clause 4.
  static const Pids pids{kPatPid, kCatPid, 0x0002, 0x0010, 0x0011,  0x0012,
                         0x0013,  0x0014,  0x001E, 0x001F, kPsipPid};
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
  if (section.tableId() == kPmtTableId && pmtPids.count(pid) != 0) return pidsOfPmt(section);
  if (pid == kPsipPid && section.tableId() == kMgtTableId) return pidsOfMgt(section);
  return {};
}

}  // namespace vantor::tables
