#include "programs/monitor/reportJson.h"

#include <cmath>
#include <optional>

#include "programs/monitor/faults.h"

namespace vantor::monitor {

namespace {

using tables::OrderedJson;

/// To a thousandth, which is what there is to know.
double rounded(double value) { return std::round(value * 1000) / 1000; }

OrderedJson millisecondsJson(std::optional<std::int64_t> nanoseconds) {
  if (!nanoseconds) return nullptr;
  return rounded(static_cast<double>(*nanoseconds) / 1e6);
}

/// One of the intervals, null while there are none.
OrderedJson intervalJson(const TableReport& table, std::int64_t interval) {
  return millisecondsJson(table.intervals > 0 ? std::optional(interval) : std::nullopt);
}

OrderedJson limitJson(const TableReport& table) {
  if (!table.limit) return nullptr;
  return OrderedJson{{"maximum", table.limit->maximum}, {"source", table.limit->source}};
}

OrderedJson intervalsJson(const TableReport& table) {
  return {{"count", table.intervals},
          {"minimum", intervalJson(table, table.minimum)},
          {"mean", intervalJson(table, table.mean)},
          {"maximum", intervalJson(table, table.maximum)},
          {"limit", limitJson(table)},
          {"late", table.late},
          {"silence", table.silence > 0 ? millisecondsJson(table.silence) : nullptr}};
}

OrderedJson tableJson(const TableReport& table) {
  OrderedJson json{{"name", table.name},
                   {"pid", table.pid},
                   {"table_id", table.key.table_id},
                   {"table_id_extension", table.key.extension},
                   {"transport_stream_id", table.key.transport_stream_id},
                   {"original_network_id", table.key.original_network_id}};
  json["version_number"] = table.version < 0 ? OrderedJson(nullptr) : OrderedJson(table.version);
  json["version_changes"] = table.versionChanges;
  json["sections"] = {{"seen", table.sectionsSeen}, {"last_section_number", table.lastSection}};
  json["sections_received"] = table.received;
  json["bytes"] = table.bytes;
  json["intervals"] = intervalsJson(table);
  json["gaps"] = {{"shortest", millisecondsJson(table.shortestGap)}, {"short", table.shortGaps}};
  json["crc_errors"] = table.crcErrors;
  json["listed"] = table.isListed;
  json["off"] = table.isOff();
  return json;
}

OrderedJson pidJson(const PidReport& pid) {
  return {{"pid", pid.pid},
          {"packets", pid.packets},
          {"kbps", rounded(pid.kbps)},
          {"mean_kbps", rounded(pid.meanKbps)},
          {"continuity_errors", pid.continuityErrors},
          {"doubled_packets", pid.doubled},
          {"scrambled_packets", pid.scrambled},
          {"transport_errors", pid.transportErrors},
          {"crc_errors", pid.crcErrors},
          {"syntax_errors", pid.syntaxErrors},
          {"cut_sections", pid.cutSections}};
}

const char* nameOf(TimeSource source) {
  switch (source) {
    case TimeSource::kArrivals:
      return "arrivals";
    case TimeSource::kPcr:
      return "pcr";
    case TimeSource::kBitrate:
      return "bitrate";
    case TimeSource::kNone:
      break;
  }
  return "none";
}

OrderedJson inputJson(const InputErrors& input) {
  return {{"sync_losses", input.syncLosses},
          {"skipped_bytes", input.skippedBytes},
          {"rtp_packets_lost", input.lostDatagrams},
          {"datagrams_dropped", input.dropped}};
}

}  // namespace

OrderedJson reportJson(const Report& report) {
  OrderedJson json{{"times", nameOf(report.timeSource)},
                   {"elapsed", millisecondsJson(report.elapsed)},
                   {"packets", report.packets},
                   {"kbps", rounded(report.kbps)},
                   {"mean_kbps", rounded(report.meanKbps)},
                   {"input", inputJson(report.input)}};
  json["broken"] = OrderedJson::array();
  for (const Fault& fault : faultsOf(report))
    json["broken"].push_back({{"where", fault.subject}, {"what", fault.what}});
  json["tables"] = OrderedJson::array();
  for (const TableReport& table : report.tables) json["tables"].push_back(tableJson(table));
  json["pids"] = OrderedJson::array();
  for (const PidReport& pid : report.pids) json["pids"].push_back(pidJson(pid));
  return json;
}

}  // namespace vantor::monitor
