#include "programs/tables/sets/Capture.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "interface/psi/tableTypes.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/SignallingPids.h"
#include "programs/tables/kinds/allTableKinds.h"
#include "programs/tables/kinds/programPids.h"
#include "programs/tables/kinds/sectionPids.h"
#include "programs/tables/kinds/sections.h"
#include "programs/tables/sections/OtherPids.h"
#include "programs/tables/sections/SubtableBuilder.h"
#include "programs/tables/sections/TransportStreamReader.h"
#include "programs/tables/sections/sectionFile.h"

namespace vantor::tables {

namespace {

/// Takes the sections of a capture as they come and keeps account of them.
class Collector {
 public:
  void addSection(int pid, const Section& section) {
    count(pid, section, 1);
    bool isTaken = false;
    for (const TableKind* kind : allTableKinds()) {
      if (!kind->hasTableId(section.tableId()) || kind->hasSyntax() != section.hasSyntax()) continue;
      if (pid == Capture::kNoPid ? !kind->isFoundWithoutPid() : !kind->isOnPid(pid)) continue;
      gather(*kind, pid, section);
      isTaken = true;
    }
    if (isTaken) return;
    if (pid == Capture::kNoPid)
      withoutPid.push_back(section);
    else
      keep(pid, section);
  }

  /// One of a PID that nothing names, which came so many times: no kind looks there.
  void addOther(int pid, const Section& section, std::uint64_t times) {
    count(pid, section, times);
    keep(pid, section);
  }

  void addFault(int pid, SectionFault fault) { ++capture.faults[{pid, fault}]; }

  /// What is left to do when all sections have come.
  Capture finish() {
    keepWithoutPid();
    for (const auto& [key, sections] : shorts) keepShort(key, sections);
    for (const auto& [key, subtable] : subtables) finishSubtable(key, *subtable.kind, subtable.builder);
    settlePmts();
    for (const auto& [key, loss] : losses)
      if (!loss.empty()) capture.leftOut.push_back(psi::tableName(key.table) + ": " + loss);
    for (const auto& [key, why] : refused) capture.leftOut.push_back(why);
    for (auto& [key, import] : capture.imports) import.asSections = isKeptAsSections(key, *import.kind);
    return std::move(capture);
  }

 private:
  struct Subtable {
    explicit Subtable(const TableKind& kind) : kind(&kind), builder(kind.sectionsStandAlone()) {}

    const TableKind* kind;
    SubtableBuilder builder;
  };

  /// A kind of single tables has one import, whatever the extension.
  static SubtableKey importKey(const TableKind& kind, const SubtableKey& key) {
    return kind.isSingle() ? SubtableKey{{key.table.table_id, 0, 0, 0}, 0} : key;
  }

  void count(int pid, const Section& section, std::uint64_t times) {
    auto& entry = capture.sections[section.tableId()];
    entry.count += times;
    entry.pids.insert(pid);
  }

  void gather(const TableKind& kind, int pid, const Section& section) {
    if (!kind.isWellFormed(section)) return addFault(pid, SectionFault::content);
    const SubtableKey key = kind.keyOf(section, pid);
    if (kind.hasVersions())
      takeVersion(kind, pid, key, section);
    else
      takeLatest(kind, key, section);
  }

  void takeVersion(const TableKind& kind, int pid, const SubtableKey& key, const Section& section) {
    SubtableBuilder& builder = subtables.try_emplace(key, kind).first->second.builder;
    if (!builder.add(section) || !kind.isWhole(builder.numbered())) return;
    if (!import(kind, key, builder.sections())) return addFault(pid, SectionFault::content);
    builder.settle();
  }

  /// What no kind takes. Sections without a version stand side by side, unless they tell of one moment.
  void keep(int pid, const Section& section) {
    const SubtableKey key = sectionsKind().keyOf(section, pid);
    if (section.hasSyntax()) return takeVersion(sectionsKind(), pid, key, section);
    if (isMomentary(section.tableId())) shorts[key].clear();
    auto& sections = shorts[key];
    const auto isSame = [&section](const Section& other) { return other.bytes() == section.bytes(); };
    if (std::none_of(sections.begin(), sections.end(), isSame)) sections.push_back(section);
    if (sections.size() <= kMaxSections) return;
    sections.erase(sections.begin());
    losses[key] = "more than " + std::to_string(kMaxSections) + " different sections, the last ones are kept";
  }

  void keepShort(const SubtableKey& key, const std::vector<Section>& sections) {
    if (const auto refusal = sectionsKind().decode(key, sections, capture.tables))
      return noteRefusal(sectionsKind(), key, *refusal);
    Capture::Import& import = capture.imports[key];
    import.kind = &sectionsKind();
    import.versions = 1;
    import.current = true;
  }

  /// Which PIDs these belong on, the other tables tell.
  void keepWithoutPid() {
    SectionPids pids(capture.tables);
    std::set<std::string> leftOut;
    for (const Section& section : withoutPid) {
      if (const auto pid = pids.pidOf(section))
        keep(*pid, section);
      else
        leftOut.insert(psi::tableTypeName(section.tableId()));
    }
    for (const std::string& name : leftOut)
      capture.leftOut.push_back(name + " left out: a file of sections has no PIDs, and nothing else tells its own");
  }

  bool isKeptAsSections(const SubtableKey& key, const TableKind& kind) const {
    if (&kind == &sectionsKind()) return true;
    const int pid = psi::tableTypeOf(key.table.table_id)->pid;
    return kind.hasFallback() && hasSections({key.table, pid}, capture.tables);
  }

  /// Without versions each section is a table, over the one before.
  void takeLatest(const TableKind& kind, const SubtableKey& key, const Section& section) {
    if (const auto refusal = kind.decode(key, {section}, capture.tables)) return noteRefusal(kind, key, *refusal);
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
    if (const auto refusal = kind.decode(key, sections, isKept ? capture.tables : unused)) {
      noteRefusal(kind, key, *refusal);
      return false;
    }
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

  void noteRefusal(const TableKind& kind, const SubtableKey& key, const Refusal& refusal) {
    const std::string place = refusal.path.empty() ? "" : refusal.path + ": ";
    refused[importKey(kind, key)] = psi::tableName(key.table) + " left out: " + printable(place + textOf(refusal));
  }

  Capture::Import importOf(const TableKind& kind, const SubtableKey& key) const {
    const auto found = capture.imports.find(importKey(kind, key));
    if (found != capture.imports.end()) return found->second;
    Capture::Import import;
    import.kind = &kind;
    return import;
  }

  void finishSubtable(const SubtableKey& key, const TableKind& kind, const SubtableBuilder& builder) {
    if (capture.imports.count(importKey(kind, key)) != 0) return;
    if (kind.sectionsStandAlone() && importScattered(kind, key, builder)) return;
    if (refused.count(importKey(kind, key)) == 0) capture.unfinished[key] = &kind;
  }

  /// Imports the sections of a table that was never whole under one version. Returns false when they make no table.
  bool importScattered(const TableKind& kind, const SubtableKey& key, const SubtableBuilder& builder) {
    const NumberedSections& newest = builder.newest();
    if (import(kind, key, inOrder(newest))) {
      Capture::Import& done = capture.imports[key];
      done.whole = kind.isWhole(newest);
      done.scattered = holdsVersions(newest);
      return true;
    }
    if (!import(kind, key, builder.sections())) return false;
    refused.erase(key);
    capture.imports[key].whole = false;
    return true;
  }

  static bool holdsVersions(const NumberedSections& sections) {
    return std::any_of(sections.begin(), sections.end(), [&sections](const auto& part) {
      return part.second.version() != sections.begin()->second.version();
    });
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
      const psi::TableKey table = tableKeyOf(*map);
      capture.leftOut.push_back(psi::tableName(table) + " left out: " + problem);
      const SubtableKey first{table, std::numeric_limits<int>::min()};
      const SubtableKey last{table, std::numeric_limits<int>::max()};
      capture.imports.erase(capture.imports.lower_bound(first), capture.imports.upper_bound(last));
      map = pmts.erase(map);
    }
  }

  Capture capture;
  std::map<SubtableKey, Subtable> subtables;
  std::map<SubtableKey, std::vector<Section>> shorts;  // without versions and of no kind
  std::vector<Section> withoutPid;                     // of no kind
  std::map<SubtableKey, std::string> losses;           // of sections without versions
  std::map<SubtableKey, std::string> refused;          // what came whole and cannot be sent
};

void push(std::string_view packet, TransportStreamReader& reader, OtherPids& others) {
  reader.push(packet);
  const std::uint16_t pid = pidAt(packet, 1);
  if (pid != kNullPid && !reader.follows(pid)) others.push(pid, packet);
}

void pushPackets(inputs::PacketSource& source, const ReadingEnd& end, TransportStreamReader& reader,
                 OtherPids& others) {
  using Clock = ReadingEnd::Clock;
  constexpr auto kWait = std::chrono::milliseconds(100);
  constexpr std::uint64_t kBetweenQuestions = 4096;  // packets
  inputs::Packet packet;
  auto now = Clock::now();
  for (std::uint64_t count = 1; now < end.deadline; ++count) {
    const auto result = source.read(packet, std::min(end.deadline, now + kWait));
    if (result == inputs::Read::kEnd) return;
    if (result == inputs::Read::kPacket)
      push({reinterpret_cast<const char*>(packet.bytes.data()), packet.bytes.size()}, reader, others);
    if (result == inputs::Read::kPacket && count % kBetweenQuestions != 0) continue;
    now = Clock::now();
    if (!end.goesOn(source)) return;
  }
}

}  // namespace

Capture readTransportStream(inputs::PacketSource& source, const ReadingEnd& end) {
  SignallingPids pids;
  Collector collector;
  std::optional<TransportStreamReader> reader;
  const auto follow = [&reader](const std::vector<std::uint16_t>& found) {
    for (const std::uint16_t pid : found) reader->follow(pid);
  };
  reader.emplace(
      [&](std::uint16_t pid, const Section& section) {
        collector.addSection(pid, section);
        follow(pids.namedBy(pid, section));
      },
      [&collector](std::uint16_t pid, SectionFault fault) { collector.addFault(pid, fault); });
  follow(SignallingPids::reserved());
  OtherPids others;
  pushPackets(source, end, *reader, others);
  std::set<std::uint16_t> kept;
  const std::set<std::uint16_t> streams = pids.streams();
  for (const std::uint16_t pid : others.pids()) {
    if (reader->follows(pid)) continue;
    for (const auto& [section, times] : others.sectionsOf(pid, streams.count(pid) != 0)) {
      collector.addOther(pid, section, times);
      kept.insert(pid);
    }
  }
  Capture capture = collector.finish();
  capture.input = source.counts();
  capture.inputNotes = source.notes();
  capture.hasPids = true;
  capture.packets = capture.input.packets;
  capture.missedPackets = reader->missedPackets();
  for (const auto& [pid, count] : reader->otherPackets()) {
    if (kept.count(pid) != 0) continue;
    capture.otherPackets += count;
    capture.otherPids.insert(pid);
  }
  return capture;
}

Capture readSections(std::string_view bytes) {
  Collector collector;
  readSectionFile(
      bytes, [&collector](const Section& section) { collector.addSection(Capture::kNoPid, section); },
      [&collector](SectionFault fault) { collector.addFault(Capture::kNoPid, fault); });
  return collector.finish();
}

}  // namespace vantor::tables
