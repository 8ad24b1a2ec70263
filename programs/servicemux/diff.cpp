#include <chrono>
#include <iostream>
#include <memory>

#include "programs/servicemux/captureReport.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/json/writeJson.h"
#include "programs/tables/review/differences.h"
#include "programs/tables/sets/inputFile.h"

namespace vantor::cli {

namespace {

using tables::Difference;
using tables::Json;
using tables::OrderedJson;
using tables::UtcTime;

// As diff(1) has them.
constexpr int kExitSame = 0;
constexpr int kExitDifferent = 1;
constexpr int kExitTrouble = 2;

struct DiffOptions {
  std::string before;
  std::string after;
  bool json = false;
};

tables::TableSet readTables(const std::string& path, UtcTime now) {
  tables::InputFile file = tables::readInputFile(path, now);
  if (file.capture)
    for (const std::string& warning : captureWarnings(*file.capture))
      std::cerr << "servicemux: " + tables::printable(path) + ": " + warning + "\n" << std::flush;
  return std::move(file.tables);
}

std::string shown(const Json& value) {
  return tables::printable(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

/// "~ PMT 101: /streams/1/elementary_pid: 257 -> 258"
std::string lineOf(const Difference& difference) {
  const auto& [table, field, before, after] = difference;
  if (field.empty()) return (before ? "- " : "+ ") + table;
  const std::string where = "~ " + table + ": " + tables::printable(field) + ": ";
  if (!before) return where + "added " + shown(*after);
  if (!after) return where + "removed " + shown(*before);
  return where + shown(*before) + " -> " + shown(*after);
}

OrderedJson toJson(const Difference& difference) {
  const bool isTable = difference.field.empty();
  OrderedJson json{{"change", !difference.before  ? "added"
                              : !difference.after ? "removed"
                                                  : "changed"},
                   {"table", difference.table}};
  if (!isTable) json["path"] = difference.field;
  if (difference.before) json["before"] = *difference.before;
  if (difference.after) json["after"] = *difference.after;
  return json;
}

void print(const std::vector<Difference>& differences, bool asJson) {
  if (!asJson) {
    for (const Difference& difference : differences) std::cout << lineOf(difference) << "\n";
    return;
  }
  OrderedJson json = OrderedJson::array();
  for (const Difference& difference : differences) json.push_back(toJson(difference));
  std::cout << tables::writeJson(json);
}

int diff(const DiffOptions& options) {
  const UtcTime now = std::chrono::system_clock::now();  // the same one for both
  try {
    const tables::TableSet before = readTables(options.before, now);
    const auto differences = tables::differencesOf(before, readTables(options.after, now));
    print(differences, options.json);
    if (!(std::cout << std::flush)) throw tables::InputError("stdout cannot be written");
    return differences.empty() ? kExitSame : kExitDifferent;
  } catch (const tables::InputError& error) {
    for (const std::string& line : shortened(linesOf(error)))
      std::cerr << "servicemux: " + line + "\n" << std::flush;
    return kExitTrouble;
  }
}

}  // namespace

void addDiff(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("diff", "Say what one table set has otherwise than another");
  const auto options = std::make_shared<DiffOptions>();
  subcommand->add_option("A", options->before, "Table set (.json) or capture (.ts, .bin)")
      ->required()
      ->type_name("FILE");
  subcommand->add_option("B", options->after, "The same, after a change")->required()->type_name("FILE");
  subcommand->add_flag("--json", options->json, "Write a JSON array with an object for each difference");
  subcommand->footer(
      "A line for each table that has been added (+) or removed (-), and for each field that has changed (~).\n"
      "Exit status, as diff has it: 0 no difference, 1 differences, 2 trouble.");
  subcommand->callback([options, &command] { command = [options] { return diff(*options); }; });
}

}  // namespace vantor::cli
