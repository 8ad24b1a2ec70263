#include "programs/servicemux/CaptureReport.h"

#include "programs/servicemux/text.h"

namespace vantor::cli {

using tables::Capture;
using tables::SectionFault;
using tables::TableKind;

namespace {

/// One line of the table: neighbouring table ids of one name together.
struct Row {
  std::string name;
  Capture::Sections sections;
  const Capture::Import* import = nullptr;
};

std::vector<Row> rowsOf(const Capture& capture) {
  std::vector<Row> rows;
  for (const auto& [tableId, sections] : capture.sections) {
    const std::string name = tables::tableName(tableId);
    if (rows.empty() || rows.back().name != name) rows.push_back({name, {}, nullptr});
    Row& row = rows.back();
    row.sections.count += sections.count;
    row.sections.pids.insert(sections.pids.begin(), sections.pids.end());
    if (const auto found = capture.imports.find(tableId); found != capture.imports.end())
      row.import = &found->second;
  }
  return rows;
}

/// True for a table that would have been taken had it been whole and in its place.
bool isKnown(const Row& row) {
  for (const TableKind* kind : tables::allTableKinds())
    if (tables::tableName(kind->tableId()) == row.name) return true;
  return false;
}

std::string pidsOf(const Row& row) {
  const auto& pids = row.sections.pids;
  if (pids.count(Capture::kNoPid) != 0) return "";
  if (pids.size() > 1) return std::to_string(pids.size()) + " PIDs";
  return hexPid(static_cast<unsigned>(*pids.begin()));
}

std::string fate(const Row& row) {
  if (row.import == nullptr) return isKnown(row) ? "skipped, no whole table" : "skipped";
  return "imported, version " + std::to_string(row.import->version);
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

}  // namespace

std::vector<std::string> captureNotes(const Capture& capture) {
  std::vector<std::string> notes;
  for (const auto& [tableId, import] : capture.imports) {
    const std::string label = std::string(import.kind->label()) + ": ";
    const std::string version = std::to_string(import.version);
    if (import.versions > 1)
      notes.push_back(label + std::to_string(import.versions) + " versions in the capture, the last one (" +
                      version + ") is kept");
    if (!import.current)
      notes.push_back(label + "version " + version + " is announced as the next one, never as the current one");
  }
  for (const auto& [where, count] : capture.faults) {
    const std::string pid =
        where.first == Capture::kNoPid ? "" : "PID " + hexPid(static_cast<unsigned>(where.first)) + ": ";
    notes.push_back(pid + "skipped " + counted(count, "section") + " " + describe(where.second));
  }
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
  const bool hasPids = capture.packets > 0;
  add("TABLE", hasPids ? "PID" : "", "SECTIONS", "");
  for (const Row& row : rowsOf(capture)) add(row.name, pidsOf(row), grouped(row.sections.count), "  " + fate(row));
  return lines;
}

std::string skippedSections(const Capture& capture) {
  std::string out;
  for (const Row& row : rowsOf(capture))
    if (row.import == nullptr) out += (out.empty() ? "skipped: " : ", ") + row.name;
  return out;
}

}  // namespace vantor::cli
