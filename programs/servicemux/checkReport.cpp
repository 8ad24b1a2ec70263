#include "programs/servicemux/checkReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"

namespace vantor::cli {

using tables::OrderedJson;
using tables::PidNeed;
using tables::Severity;

namespace {

constexpr std::size_t kPidWidth = 8;
constexpr std::size_t kRateWidth = 10;
constexpr std::size_t kMostNames = 3;

const char* nameOf(Severity severity) { return severity == Severity::kError ? "error" : "warning"; }

std::string namesOf(const PidNeed& need) {
  std::string names;
  for (std::size_t i = 0; i < std::min(need.tables.size(), kMostNames); ++i)
    names += (i == 0 ? "" : ", ") + need.tables[i].name;
  if (need.tables.size() > kMostNames) names += " and " + std::to_string(need.tables.size() - kMostNames) + " more";
  return names;
}

/// To the hundredth, so that the text does not depend on the order of additions.
double rounded(double kbps) { return std::round(kbps * 100) / 100; }

OrderedJson toJson(const PidNeed& need) {
  OrderedJson json{{"pid", need.pid}, {"kbps", rounded(need.kbps)}};
  for (const TableOnAir& table : need.tables)
    json["tables"].push_back({{"name", table.name},
                              {"sections", table.sections},
                              {"packets", table.packets},
                              {"period", table.period},
                              {"kbps", rounded(tables::kbpsOf(table))}});
  return json;
}

OrderedJson toJson(const PlacedFinding& finding) {
  OrderedJson json{{"severity", nameOf(finding.severity)}};
  if (!finding.file.empty()) json["file"] = finding.file;
  if (!finding.pointer.empty()) json["path"] = finding.pointer;
  json["text"] = finding.text;
  return json;
}

}  // namespace

std::string rateText(double kbps) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", kbps);
  return text;
}

bool CheckReport::has(Severity severity) const {
  return std::any_of(findings.begin(), findings.end(),
                     [=](const PlacedFinding& finding) { return finding.severity == severity; });
}

bool CheckReport::fits() const {
  if (!needs) return true;
  return needs->kbps <= bitrate && (!stretches || needs->statistics.stretch <= 1);
}

std::string lineOf(const PlacedFinding& finding) {
  std::string line = nameOf(finding.severity) + std::string(": ");
  if (!finding.file.empty()) line += tables::printable(finding.file) + ": ";
  if (!finding.pointer.empty()) line += tables::printable(finding.pointer) + ": ";
  return line + finding.text;
}

std::vector<std::string> needsTable(const tables::Needs& needs, unsigned int bitrate) {
  std::vector<std::string> lines;
  const auto add = [&lines](const std::string& pid, const std::string& kbps, const std::string& what) {
    lines.push_back(padRight(pid, kPidWidth) + padLeft(kbps, kRateWidth) + "  " + what);
  };
  add("PID", "KBIT/S", "TABLES");
  for (const PidNeed& need : needs.pids) add(hexPid(need.pid), rateText(need.kbps), namesOf(need));
  add("all", rateText(needs.kbps), "of " + grouped(bitrate));
  return lines;
}

OrderedJson toJson(const CheckReport& report) {
  OrderedJson json{{"findings", OrderedJson::array()}};
  for (const PlacedFinding& finding : report.findings) json["findings"].push_back(toJson(finding));
  if (!report.needs) return json;
  auto& pids = json["pids"] = OrderedJson::array();
  for (const PidNeed& need : report.needs->pids) pids.push_back(toJson(need));
  json["kbps"] = rounded(report.needs->kbps);
  json["bitrate"] = report.bitrate;
  if (report.stretches) json["stretch"] = rounded(report.needs->statistics.stretch);
  json["fits"] = report.fits();
  return json;
}

}  // namespace vantor::cli
