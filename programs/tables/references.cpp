#include "programs/tables/references.h"

#include <algorithm>

namespace vantor::tables {

namespace {

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

}  // namespace

Pids pidsOfPat(const Section& section) {
  Pids out;
  const std::string_view programs = section.payload();
  for (std::size_t at = 0; at + 4 <= programs.size(); at += 4) out.push_back(pidAt(programs, at + 2));
  return out;
}

Pids pidsOfCat(const Section& section) {
  Pids out;
  appendCaPids(section.payload(), out);
  return out;
}

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

}  // namespace vantor::tables
