#include "programs/tables/Capture.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "programs/tables/InputError.h"
#include "programs/tables/SectionAssembler.h"
#include "programs/tables/SubtableBuilder.h"
#include "programs/tables/programPids.h"
#include "programs/tables/references.h"
#include "servicemux/packetize/packet.h"
#include "servicemux/packetize/pids.h"

namespace vantor::tables {

namespace {

/// PIDs that carry sections in every stream: ISO/IEC 13818-1 table 2-3, EN 300 468 table 1, ATSC A/65 clause 4.
constexpr std::uint16_t kReservedPids[] = {kPatPid, kCatPid, 0x0002, 0x0010, 0x0011,  0x0012,
                                           0x0013,  0x0014,  0x001E, 0x001F, kPsipPid};

constexpr std::uint8_t kPatTableId = 0x00;
constexpr std::uint8_t kCatTableId = 0x01;
constexpr std::uint8_t kPmtTableId = 0x02;
constexpr std::uint8_t kMgtTableId = 0xC7;

std::string byteOffset(std::size_t offset) { return "byte " + std::to_string(offset) + ": "; }

/// Takes the sections of a capture as they come and keeps account of them.
class Collector {
 public:
  void addSection(int pid, const Section& section) {
    auto& entry = capture.sections[section.tableId()];
    ++entry.count;
    entry.pids.insert(pid);
    for (const TableKind* kind : allTableKinds())
      if (kind->hasTableId(section.tableId()) &&
          (pid == Capture::kNoPid ? kind->isFoundWithoutPid() : kind->isOnPid(pid)))
        gather(*kind, pid, section);
  }

  void addFault(int pid, SectionFault fault) { ++capture.faults[{pid, fault}]; }

  /// What is left to do when all sections have come.
  Capture finish() {
    for (const auto& [key, builder] : builders) finishSubtable(key, builder);
    settlePmts();
    for (const auto& [key, loss] : losses)
      if (!loss.empty()) capture.leftOut.push_back(tableName(key.tableId) + ": " + loss);
    return std::move(capture);
  }

 private:
  /// A kind of single tables has one import, whatever the extension.
  static SubtableKey importKey(const TableKind& kind, const SubtableKey& key) {
    return kind.isSingle() ? SubtableKey{key.tableId, 0, 0} : key;
  }

  void gather(const TableKind& kind, int pid, const Section& section) {
    if (section.hasSyntax() != kind.hasSyntax() || !kind.isWellFormed(section))
      return addFault(pid, SectionFault::content);
    const SubtableKey key = kind.keyOf(section, pid);
    if (!kind.hasVersions()) return takeLatest(kind, key, section);
    SubtableBuilder& builder = builders.try_emplace(key, kind).first->second;
    if (builder.add(section) && !import(kind, key, builder.sections())) addFault(pid, SectionFault::content);
  }

  /// Without versions each section is a table, over the one before.
  void takeLatest(const TableKind& kind, const SubtableKey& key, const Section& section) {
    if (!kind.decode(key, {section}, capture.tables)) return;
    Capture::Import import = importOf(kind, key);
    import.versions = 1;
    import.current = true;
    capture.imports[importKey(kind, key)] = import;
    losses[importKey(kind, key)] = kind.lossOf(section);
  }

  /// Returns false when the sections make no table.
  bool import(const TableKind& kind, const SubtableKey& key, const std::vector<Section>& sections) {
    const Section& section = sections.front();
    Capture::Import import = importOf(kind, key);
    // What is announced for later does not take the place of what is in force.
    const bool isKept = section.currentNext() || !import.current;
    TableSet unused;
    if (!kind.decode(key, sections, isKept ? capture.tables : unused)) return false;
    if (import.versions > 0 && import.version == section.version() && import.current == section.currentNext())
      ++import.rewrites;
    ++import.versions;
    if (isKept) {
      import.current = section.currentNext();
      import.version = section.version();
    }
    capture.imports[importKey(kind, key)] = import;
    return true;
  }

  Capture::Import importOf(const TableKind& kind, const SubtableKey& key) const {
    const auto found = capture.imports.find(importKey(kind, key));
    if (found != capture.imports.end()) return found->second;
    Capture::Import import;
    import.kind = &kind;
    return import;
  }

  void finishSubtable(const SubtableKey& key, const SubtableBuilder& builder) {
    const TableKind& kind = builder.tableKind();
    if (capture.imports.count(importKey(kind, key)) != 0) return;
    if (kind.sectionsStandAlone() && import(kind, key, builder.sections()))
      capture.imports[key].whole = false;
    else
      capture.unfinished[key] = &kind;
  }

  /// A PMT that the PAT has elsewhere or nowhere would keep the whole set from going on air.
  void settlePmts() {
    auto& pmts = capture.tables.pmts;
    for (auto map = pmts.begin(); map != pmts.end();) {
      const std::string problem = capture.tables.pat ? settlePid(capture.tables, *map) : "";
      if (problem.empty()) {
        ++map;
        continue;
      }
      const auto program = static_cast<std::uint16_t>(map->pmt.program_number);
      capture.leftOut.push_back("PMT of program " + std::to_string(program) + " left out: " + problem);
      const SubtableKey first{kPmtTableId, program, std::numeric_limits<std::int64_t>::min()};
      const SubtableKey last{kPmtTableId, program, std::numeric_limits<std::int64_t>::max()};
      capture.imports.erase(capture.imports.lower_bound(first), capture.imports.upper_bound(last));
      map = pmts.erase(map);
    }
  }

  Capture capture;
  std::map<SubtableKey, SubtableBuilder> builders;
  std::map<SubtableKey, std::string> losses;  // of sections without versions
};

/// Goes through the packets once for the reserved PIDs and then again for those that the sections point at.
class TransportStreamReader {
 public:
  explicit TransportStreamReader(std::string_view bytes) : bytes(bytes) {
    for (const std::uint16_t pid : kReservedPids) follow(pid);
  }

  Capture read() {
    checkPackets();
    // PAT to PMT to ECM: the third round finds nothing that is not followed yet.
    while (!ahead.empty()) readRound();
    Capture capture = collector.finish();
    capture.packets = bytes.size() / kPacketSize;
    countOthers(capture);
    return capture;
  }

 private:
  void checkPackets() const {
    for (std::size_t at = 0; at < bytes.size(); at += kPacketSize) {
      if (byteAt(bytes, at) != kSyncByte) throw InputError(byteOffset(at) + "a packet does not begin with 0x47");
      if (bytes.size() - at < kPacketSize)
        throw InputError(byteOffset(at) + "the last packet has only " + std::to_string(bytes.size() - at) +
                         " of 188 bytes");
    }
  }

  std::string_view packet(std::size_t at) const { return bytes.substr(at, kPacketSize); }
  static std::uint16_t pidOf(std::string_view packet) { return wordAt(packet, 1) & kNullPid; }

  void follow(std::uint16_t pid) {
    if (pid != kNullPid && followed.insert(pid).second) ahead.push_back(pid);
  }

  void readRound() {
    std::map<std::uint16_t, SectionAssembler> assemblers;
    for (const std::uint16_t pid : std::exchange(ahead, {}))
      assemblers.try_emplace(
          pid,
          [this, pid](const Section& section) {
            collector.addSection(pid, section);
            followReferences(pid, section);
          },
          [this, pid](SectionFault fault) { collector.addFault(pid, fault); });
    for (std::size_t at = 0; at < bytes.size(); at += kPacketSize)
      if (const auto found = assemblers.find(pidOf(packet(at))); found != assemblers.end())
        found->second.push(packet(at));
  }

  /// A pointer counts only in a table on the table's own PID, so that the chain comes to an end.
  void followReferences(std::uint16_t pid, const Section& section) {
    if (!section.hasSyntax()) return;
    if (pid == kPatPid && section.tableId() == kPatTableId)
      for (const std::uint16_t pmtPid : pidsOfPat(section)) {
        pmtPids.insert(pmtPid);
        follow(pmtPid);
      }
    else if (pid == kCatPid && section.tableId() == kCatTableId)
      for (const std::uint16_t emmPid : pidsOfCat(section)) follow(emmPid);
    else if (section.tableId() == kPmtTableId && pmtPids.count(pid) != 0)
      for (const std::uint16_t ecmPid : pidsOfPmt(section)) follow(ecmPid);
    else if (pid == kPsipPid && section.tableId() == kMgtTableId)
      for (const std::uint16_t psipPid : pidsOfMgt(section)) follow(psipPid);
  }

  void countOthers(Capture& capture) const {
    for (std::size_t at = 0; at < bytes.size(); at += kPacketSize) {
      const std::uint16_t pid = pidOf(packet(at));
      if (pid == kNullPid || followed.count(pid) != 0) continue;
      ++capture.otherPackets;
      capture.otherPids.insert(pid);
    }
  }

  const std::string_view bytes;
  Collector collector;
  std::set<std::uint16_t> followed;
  std::set<std::uint16_t> pmtPids;
  std::vector<std::uint16_t> ahead;  // to be read in the next round
};

void refuseEmpty(std::string_view bytes) {
  if (bytes.empty()) throw InputError("the file is empty");
}

}  // namespace

Capture readTransportStream(std::string_view bytes) {
  refuseEmpty(bytes);
  return TransportStreamReader(bytes).read();
}

Capture readSections(std::string_view bytes) {
  refuseEmpty(bytes);
  Collector collector;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::string_view rest = bytes.substr(at);
    const std::size_t size =
        rest.size() < kSectionHeaderSize ? kSectionHeaderSize : kSectionHeaderSize + sectionLength(rest);
    if (size > rest.size())
      throw InputError(byteOffset(at) + "a section of " + std::to_string(size) + " bytes, of which only " +
                       std::to_string(rest.size()) + " are there");
    const std::string_view section = rest.substr(0, size);
    const SectionFault fault = Section::check(section);
    if (fault == SectionFault::none)
      collector.addSection(Capture::kNoPid, Section(std::string(section)));
    else
      collector.addFault(Capture::kNoPid, fault);
    at += size;
  }
  return collector.finish();
}

}  // namespace vantor::tables
