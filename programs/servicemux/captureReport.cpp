#include "programs/servicemux/captureReport.h"

#include <algorithm>
#include <iterator>

#include "interface/psi/tableTypes.h"
#include "programs/servicemux/inputNotes.h"
#include "programs/servicemux/text.h"
#include "programs/tables/kinds/allTableKinds.h"

namespace vantor::cli {

using tables::Capture;
using tables::SectionFault;
using tables::TableKind;

namespace {

/// One line of the table: neighbouring table ids of one name together.
struct TypeRow {
  std::string name;
  Capture::Sections sections;
  std::vector<const Capture::Import*> imports;
  bool isKnown = false;
};

/// True for a table that would have been taken had it been whole and in its place.
bool isKnown(std::uint8_t tableId) {
  const auto& kinds = tables::allTableKinds();
  return std::any_of(kinds.begin(), kinds.end(), [=](const TableKind* kind) { return kind->hasTableId(tableId); });
}

std::vector<TypeRow> rowsOf(const Capture& capture) {
  std::vector<TypeRow> rows;
  for (const auto& [tableId, sections] : capture.sections) {
    const std::string name = psi::tableTypeName(tableId);
    if (rows.empty() || rows.back().name != name) {
      rows.emplace_back().name = name;
      rows.back().isKnown = isKnown(tableId);
    }
    TypeRow& row = rows.back();
    row.sections.count += sections.count;
    row.sections.pids.insert(sections.pids.begin(), sections.pids.end());
    for (const auto& [key, import] : capture.imports)
      if (key.table.table_id == tableId) row.imports.push_back(&import);
  }
  return rows;
}

std::string pidsOf(const TypeRow& row) {
  const auto& pids = row.sections.pids;
  if (pids.count(Capture::kNoPid) != 0) return "";
  if (pids.size() > 1) return std::to_string(pids.size()) + " PIDs";
  return hexPid(static_cast<unsigned>(*pids.begin()));
}

std::string fate(const TypeRow& row) {
  if (row.imports.empty()) return row.isKnown ? "skipped, no whole table" : "skipped";
  std::vector<const Capture::Import*> readable;
  std::copy_if(row.imports.begin(), row.imports.end(), std::back_inserter(readable),
               [](const Capture::Import* import) { return !import->asSections; });
  const std::size_t whole = row.imports.size() - readable.size();
  std::string kept = whole == 0 ? "" : "kept as sections, " + counted(whole, "table");
  if (readable.empty()) return kept;
  const std::string what = readable.front()->kind->isSingle()
                               ? "version " + std::to_string(readable.front()->version)
                               : counted(readable.size(), "table");
  return "imported, " + what + (kept.empty() ? "" : "; " + kept);
}

const char* describe(SectionFault fault) {
  switch (fault) {
    case SectionFault::crc:
      return "with a wrong CRC";
    case SectionFault::length:
      return "with a wrong length";
    case SectionFault::content:
      return "with wrong contents";
    case SectionFault::interrupted:
      return "cut short";
    case SectionFault::none:
      break;
  }
  return "";
}

/// Gathers the tables of one kind that the same is to be said of.
class Note {
 public:
  explicit Note(std::string what) : what(std::move(what)) {}

  void add(const psi::TableKey& key, const std::string& version = "") {
    names[psi::tableTypeName(key.table_id)].push_back(psi::tableName(key) + version);
  }

  /// One line for each kind.
  void append(std::vector<std::string>& notes) const {
    constexpr std::size_t kMostNames = 8;
    for (const auto& [kind, all] : names) {
      std::string line;
      for (std::size_t i = 0; i < std::min(all.size(), kMostNames); ++i) line += (i == 0 ? "" : ", ") + all[i];
      if (all.size() > kMostNames) line += " and " + std::to_string(all.size() - kMostNames) + " more";
      notes.push_back(line + ": " + what);
    }
  }

 private:
  const std::string what;
  std::map<std::string, std::vector<std::string>> names;
};

void noteSingle(const psi::TableKey& key, const Capture::Import& import, std::vector<std::string>& notes) {
  const std::string table = psi::tableName(key);
  const std::string version = std::to_string(import.version);
  if (import.versions > 1)
    notes.push_back(table + ": " + std::to_string(import.versions) + " versions in the capture, the last one (" +
                    version + ") is kept");
  if (!import.current)
    notes.push_back(table + ": version " + version + " is announced as the next one, never as the current one");
}

}  // namespace

std::vector<std::string> captureNotes(const Capture& capture) {
  std::vector<std::string> notes;
  Note changed("several versions in the capture, the last one of each is kept");
  Note rewritten("several contents under one version, the last one is kept");
  Note announced("announced as the next version, never as the current one");
  Note partial("not whole in the capture, imported as far as it is there");
  Note scattered("no version of it is whole, the newest section of each number is kept");
  Note unfinished("never whole in the capture and left out");
  for (const auto& [key, import] : capture.imports) {
    if (import.kind->isSingle()) {
      noteSingle(key.table, import, notes);
      continue;
    }
    const std::string version = " (" + std::to_string(import.version) + ")";
    if (import.versions > import.rewrites + 1) changed.add(key.table, version);
    if (import.rewrites > 0) rewritten.add(key.table, version);
    if (!import.current) announced.add(key.table, version);
    if (import.scattered) scattered.add(key.table);
    if (!import.whole) partial.add(key.table);
  }
  for (const auto& [key, kind] : capture.unfinished)
    if (!kind->isSingle()) unfinished.add(key.table);
  for (const Note* note : {&changed, &rewritten, &announced, &scattered, &partial, &unfinished})
    note->append(notes);
  notes.insert(notes.end(), capture.leftOut.begin(), capture.leftOut.end());
  for (const auto& [where, count] : capture.faults) {
    const std::string pid =
        where.first == Capture::kNoPid ? "" : "PID " + hexPid(static_cast<unsigned>(where.first)) + ": ";
    notes.push_back(pid + "skipped " + counted(count, "section") + " " + describe(where.second));
  }
  for (const auto& [pid, count] : capture.missedPackets)
    notes.push_back("PID " + hexPid(pid) + ": " + counted(count, "packet") + " too far before what names the PID");
  const std::vector<std::string> input = inputNotes(capture.input);
  notes.insert(notes.end(), input.begin(), input.end());
  notes.insert(notes.end(), capture.inputNotes.begin(), capture.inputNotes.end());
  return notes;
}

std::vector<std::string> captureTable(const Capture& capture) {
  constexpr std::size_t kNameWidth = 22;
  constexpr std::size_t kPidWidth = 8;
  constexpr std::size_t kCountWidth = 10;
  std::vector<std::string> lines;
  const auto add = [&](const std::string& name, const std::string& pid, const std::string& count,
                       const std::string& what) {
    lines.push_back(padRight(name, kNameWidth) + padLeft(pid, kPidWidth) + padLeft(count, kCountWidth) + what);
  };
  add("TABLE", capture.hasPids ? "PID" : "", "SECTIONS", "");
  for (const TypeRow& row : rowsOf(capture))
    add(row.name, pidsOf(row), grouped(row.sections.count), "  " + fate(row));
  return lines;
}

std::string skippedSections(const Capture& capture) {
  std::string out;
  for (const TypeRow& row : rowsOf(capture))
    if (row.imports.empty()) out += (out.empty() ? "skipped: " : ", ") + row.name;
  return out;
}

std::vector<std::string> captureWarnings(const tables::Capture& capture) {
  std::vector<std::string> warnings = captureNotes(capture);
  if (const std::string skipped = skippedSections(capture); !skipped.empty()) warnings.push_back(skipped);
  return warnings;
}

}  // namespace vantor::cli
