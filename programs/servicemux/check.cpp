#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "interface/host_default/log.h"
#include "programs/servicemux/LiveView.h"
#include "programs/servicemux/captureReport.h"
#include "programs/servicemux/checkReport.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/playOptions.h"
#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/review/findings.h"
#include "programs/tables/review/identity.h"
#include "programs/tables/sets/inputFile.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"

namespace vantor::cli {

namespace {

using tables::Finding;
using tables::InputError;
using tables::Json;
using tables::Severity;

struct CheckOptions : TableOptions {
  bool strict = false;
  bool json = false;
};

/// A file as people have it before them, to point at places in it.
struct Document {
  std::string file;
  Json json;
};

/// Looks at table sets and gathers what there is to say.
class Check {
 public:
  explicit Check(const CheckOptions& options) : options(options) { report.bitrate = options.bitrate; }

  CheckReport run() {
    for (const std::string& file : options.files) gather(file, [&] { read(file); });
    if (report.has(Severity::kError)) return std::move(report);
    gather("", [&] { tables::settle(set); });
    place(tables::findingsIn(set, options.timing));
    if (tables::isEmpty(set)) add(Severity::kError, "there is no table to send");
    if (!report.has(Severity::kError)) gather("", [&] { measure(); });
    return std::move(report);
  }

 private:
  void add(Severity severity, const std::string& text) { report.findings.push_back({severity, "", "", text}); }

  /// Errors of a file begin with its name.
  template <typename Step>
  void gather(const std::string& file, Step step) {
    const std::string preamble = tables::printable(file) + ": ";
    try {
      step();
    } catch (const InputError& error) {
      for (const std::string& line : linesOf(error)) {
        const bool isOfFile = !file.empty() && line.compare(0, preamble.size(), preamble) == 0;
        report.findings.push_back(isOfFile ? atPointer(file, line.substr(preamble.size()))
                                           : PlacedFinding{Severity::kError, "", "", line});
      }
    }
  }

  /// "/pmts/0/pid: reason" in its parts.
  static PlacedFinding atPointer(const std::string& file, const std::string& line) {
    const std::size_t end = line.find(": ");
    const bool hasPointer = line.compare(0, 1, "/") == 0 && end != std::string::npos;
    return {Severity::kError, file, hasPointer ? line.substr(0, end) : "",
            hasPointer ? line.substr(end + 2) : line};
  }

  void read(const std::string& file) {
    tables::InputFile input = tables::readInputFile(file);
    if (input.capture)
      for (const std::string& warning : captureWarnings(*input.capture))
        report.findings.push_back({Severity::kWarning, file, "", warning});
    documents.push_back({file, documentOf(file, input)});
    tables::merge(std::move(input.tables), set);
  }

  /// Of a capture its table set.
  static Json documentOf(const std::string& path, const tables::InputFile& input) {
    if (input.capture) return tables::parseJson(tables::writeTableSet(input.tables));
    std::ifstream file(path, std::ios::binary);
    return tables::parseJson(std::string(std::istreambuf_iterator<char>(file), {}));
  }

  /// In the last one of the files that have the table, which is the one that counts.
  PlacedFinding placed(const Finding& finding) const {
    for (auto document = documents.rbegin(); document != documents.rend(); ++document)
      if (const auto pointer = pointerTo(finding.place, document->json))
        return {finding.severity, document->file, *pointer, finding.text};
    return {finding.severity, "", "", finding.text};
  }

  void place(const std::vector<Finding>& findings) {
    for (const Finding& finding : findings) report.findings.push_back(placed(finding));
  }

  void measure() {
    const InsertionPeriods periods = periodsOf(set, options);
    for (const std::string& warning : warningsOf(periods)) add(Severity::kWarning, "period of " + warning);
    report.needs = tables::needsOf(std::move(set), periods, options.bitrate);
    place(tables::crowdedTablesIn(*report.needs));
    report.stretches = options.timing == TimingProfile::Standards;
    if (!report.fits()) add(Severity::kWarning, shortage());
  }

  /// As play says it; with classic timing it stretches nothing and says nothing.
  std::string shortage() const {
    std::string stretch = stretchOf(report.needs->statistics, options.bitrate);
    if (report.stretches && !stretch.empty()) return stretch;
    return "needs " + rateText(report.needs->kbps) + " of " + grouped(options.bitrate) + " kbit/s";
  }

  const CheckOptions& options;
  tables::TableSet set;
  std::vector<Document> documents;
  CheckReport report;
};

void print(const CheckReport& report) {
  for (const PlacedFinding& finding : report.findings) std::cout << lineOf(finding) << "\n";
  if (!report.needs) return;
  if (!report.findings.empty()) std::cout << "\n";
  for (const std::string& line : needsTable(*report.needs, report.bitrate)) std::cout << line << "\n";
}

int statusOf(const CheckReport& report, bool strict) {
  if (report.has(Severity::kError)) return kExitBadInput;
  if (!report.fits()) return kExitLimitBroken;
  return strict && report.has(Severity::kWarning) ? kExitBadInput : kExitOk;
}

int check(const CheckOptions& options) {
  setLogThreshold(HOST_LOG_ERROR);  // what it would say of the tables is said here
  const CheckReport report = Check(options).run();
  if (options.json)
    std::cout << tables::writeJson(toJson(report));
  else
    print(report);
  if (!(std::cout << std::flush)) throw InputError("stdout cannot be written");
  return statusOf(report, options.strict);
}

}  // namespace

void addCheck(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("check", "Say what is wrong with table sets, and what they need");
  const auto options = std::make_shared<CheckOptions>();
  declareFiles(*subcommand, *options);
  declareBitrate(*subcommand, *options);
  declareTiming(*subcommand, *options);
  declarePeriods(*subcommand, *options);
  subcommand->add_flag("--strict", options->strict, "Exit with 1 for warnings too");
  subcommand->add_flag("--json", options->json, "Write everything as one JSON object");
  subcommand->footer(
      "Tells all that play would refuse or warn of, what the tables have twice or do not fit together in,\n"
      "and the kbit/s that each PID needs. Exit status: 0 nothing worse than warnings, 1 errors, 2 bad usage,\n"
      "4 no errors, but what is needed does not fit under the bitrate.");
  subcommand->callback([options, &command] { command = [options] { return check(*options); }; });
}

}  // namespace vantor::cli
