#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>

#include "programs/servicemux/captureReport.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/inputFile.h"
#include "programs/tables/sets/tableSetJson.h"

namespace vantor::cli {

namespace {

struct ImportOptions {
  std::string file;
  std::string output;
  bool knownOnly = false;
};

void report(const std::string& path, const tables::Capture& capture) {
  std::cerr << tables::printable(path) << ": ";
  if (capture.packets > 0) std::cerr << counted(capture.packets, "packet") << ", ";
  std::uint64_t sections = 0;
  for (const auto& found : capture.sections) sections += found.second.count;
  std::cerr << counted(sections, "section") << "\n\n";
  if (sections > 0)
    for (const auto& line : captureTable(capture)) std::cerr << "  " << line << "\n";
  if (sections > 0) std::cerr << "\n";
  for (const auto& note : captureNotes(capture)) std::cerr << "  " << note << "\n";
  if (capture.otherPackets > 0)
    std::cerr << "  " << counted(capture.otherPackets, "packet") << " on "
              << counted(capture.otherPids.size(), "PID") << " without signalling left out\n";
  if (capture.imports.empty()) std::cerr << "  nothing to import\n";
  std::cerr << std::flush;
}

void save(const std::string& text, const std::string& path) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text << std::flush;
  if (!file) throw tables::InputError(tables::printable(path) + ": " + std::strerror(errno));
}

int import(const ImportOptions& options) {
  tables::InputFile file = tables::readInputFile(options.file);
  if (options.knownOnly) tables::leaveOutSections(file);
  if (file.capture) report(options.file, *file.capture);
  const std::string text = tables::writeTableSet(file.tables);
  if (!options.output.empty())
    save(text, options.output);
  else if (!(std::cout << text << std::flush))
    throw tables::InputError("stdout cannot be written");
  return kExitOk;
}

}  // namespace

void addImport(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("import", "Make a JSON table set of a capture");
  const auto options = std::make_shared<ImportOptions>();
  subcommand
      ->add_option("FILE", options->file,
                   "Transport stream of 188-byte packets (.ts), sections back to back (.bin), or a table set "
                   "(.json), which is checked and laid out anew")
      ->required()
      ->type_name("");
  subcommand->add_option("-o,--output", options->output, "Write the table set there and not to stdout")
      ->type_name("OUT.json");
  subcommand->add_flag("--known-only", options->knownOnly,
                       "Leave out what can only be kept as whole sections: tables of kinds that have no fields of "
                       "their own");
  subcommand->footer("What was found, and what of it is left out, is told on stderr.");
  subcommand->callback([options, &command] { command = [options] { return import(*options); }; });
}

}  // namespace vantor::cli
