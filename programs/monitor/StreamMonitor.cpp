#include "programs/monitor/StreamMonitor.h"

#include <algorithm>

#include "interface/psi/pids.h"
#include "interface/psi/sectioning.h"
#include "interface/psi/tableTypes.h"
#include "programs/monitor/packetFields.h"

namespace vantor::monitor {

using tables::Section;
using tables::SubtableKey;

namespace {

/// What tells the table of a section from all others. `bytes` are the section's, whole or with a wrong CRC_32.
psi::TableKey keyOf(std::string_view bytes) {
  psi::TableKey key;
  key.table_id = tables::byteAt(bytes, 0);
  const bool hasLongHeader = (tables::byteAt(bytes, 1) & kSectionSyntax) != 0;
  const psi::TableType* const type = psi::tableTypeOf(key.table_id);
  // Where the extension is reserved it may be anything.
  const bool isReserved = type != nullptr && type->extension == psi::Extension::kNone;
  if (!hasLongHeader || isReserved || bytes.size() < kSectionOverhead) return key;
  key.extension = tables::wordAt(bytes, kExtensionOffset);
  // EN 300 468 clauses 5.2.3 and 5.2.4.
  const std::size_t payload = bytes.size() - kSectionOverhead;
  if ((type == &psi::kSdtActual || type == &psi::kSdtOther) && payload >= 2) {
    key.transport_stream_id = key.extension;
    key.original_network_id = tables::wordAt(bytes, kLongSectionHeaderSize);
  } else if (type != nullptr && type->extension == psi::Extension::kServiceId && payload >= 4) {
    key.transport_stream_id = tables::wordAt(bytes, kLongSectionHeaderSize);
    key.original_network_id = tables::wordAt(bytes, kLongSectionHeaderSize + 2);
  }
  return key;
}

}  // namespace

StreamMonitor::StreamMonitor(psi::Network network) : network(network) {
  for (const std::uint16_t pid : tables::SignallingPids::reserved()) followed[pid] = false;
}

void StreamMonitor::take(std::string_view packet, std::optional<std::int64_t> time) {
  if (time) {
    pass(*time);
    if (!first) first = now;
  }
  ++packets;
  const std::int64_t moment = now.value_or(0);
  rate.add(moment);
  const std::uint16_t pid = pidOf(packet);
  monitorOf(pid).take(packet, moment);
}

void StreamMonitor::pass(std::int64_t time) { now = std::max(now.value_or(time), time); }

PidMonitor& StreamMonitor::monitorOf(std::uint16_t pid) {
  const auto [found, isNew] = pids.try_emplace(pid, pid);
  if (isNew && followed.count(pid) != 0) follow(pid);
  return found->second;
}

/// The PID's packets may have come before, or may never come.
void StreamMonitor::follow(std::uint16_t pid) {
  if (pid == kNullPid) return;
  bool& isFollowed = followed[pid];
  const auto found = pids.find(pid);
  if (isFollowed || found == pids.end()) return;
  isFollowed = true;
  found->second.follow({[this, pid](const Section& section, std::int64_t begin, std::int64_t end) {
                          takeSection(pid, section, begin, end);
                        },
                        [this, pid](std::string_view bytes) { return takeCrcError(pid, bytes); }});
}

void StreamMonitor::takeSection(std::uint16_t pid, const Section& section, std::int64_t begin, std::int64_t end) {
  TableMonitor& table = tableOf({keyOf(section.bytes()), pid});
  if (now) takeGap(pid, section, begin, end, table);
  // What is announced for later is not in force.
  if (section.hasSyntax() && !section.currentNext()) return;
  table.take(section, now ? std::optional(end) : std::nullopt);
  for (const std::uint16_t named : signalling.namedBy(pid, section)) follow(named);
  if (pid == kPatPid && section.tableId() == kPatTableId && section.hasSyntax()) takePat(section);
}

void StreamMonitor::takeGap(std::uint16_t pid, const Section& section, std::int64_t begin, std::int64_t end,
                            TableMonitor& table) {
  if (!psi::keepsGap(section.tableId())) return;
  const auto [last, isFirst] = ends.try_emplace({pid, section.tableId(), keyOf(section.bytes()).extension}, end);
  if (isFirst) return;
  table.takeGap(begin - last->second);
  last->second = end;
}

/// Counts for the table that it seems to be of, if there is one.
bool StreamMonitor::takeCrcError(std::uint16_t pid, std::string_view bytes) {
  const auto found = tables.find({keyOf(bytes), pid});
  if (found == tables.end()) return false;
  found->second.takeCrcError();
  return true;
}

void StreamMonitor::takePat(const Section& section) {
  programs.take(section);
  const auto listed = programs.programs();
  for (const auto& [pid, number] : listed) {
    TableMonitor& table = tableOf({{kPmtTableId, number, 0, 0}, pid});
    table.setListed(true, now);
    table.expect(0, now);
  }
  if (!programs.isWhole()) return;
  for (auto& [key, table] : tables)
    if (key.table.table_id == kPmtTableId &&
        listed.count({static_cast<std::uint16_t>(key.pid), key.table.extension}) == 0)
      table.setListed(false, now);
}

TableMonitor& StreamMonitor::tableOf(const SubtableKey& key) {
  return tables.try_emplace(key, key.table, static_cast<std::uint16_t>(key.pid), network).first->second;
}

Report StreamMonitor::report() const {
  Report out;
  out.elapsed = elapsed();
  out.packets = packets;
  out.kbps = rate.kbps(now.value_or(0));
  out.meanKbps = meanKbps(packets, out.elapsed);
  for (const auto& [key, table] : tables) out.tables.push_back(table.report(now));
  std::stable_sort(out.tables.begin(), out.tables.end(),
                   [](const TableReport& a, const TableReport& b) { return a.pid < b.pid; });
  nameTables(out.tables);
  for (const auto& [pid, monitor] : pids) out.pids.push_back(monitor.report(now.value_or(0), out.elapsed));
  return out;
}

/// Namesakes are told apart by their streams, or by their extensions where these are the same.
void StreamMonitor::nameTables(std::vector<TableReport>& reports) {
  std::map<std::pair<std::uint16_t, std::string>, unsigned int> count;
  for (TableReport& report : reports) {
    report.name = psi::tableName(report.key);
    ++count[{report.pid, report.name}];
  }
  for (TableReport& report : reports) {
    if (count[{report.pid, report.name}] == 1) continue;
    const bool hasStream = report.key.transport_stream_id != 0 || report.key.original_network_id != 0;
    report.name =
        hasStream ? psi::tableNameOfStream(report.key) : report.name + " " + std::to_string(report.key.extension);
  }
}

}  // namespace vantor::monitor
