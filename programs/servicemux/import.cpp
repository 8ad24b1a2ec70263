#include <poll.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>
#include <optional>

#include "programs/inputs/open.h"
#include "programs/outputs/OutputError.h"
#include "programs/servicemux/Progress.h"
#include "programs/servicemux/Signals.h"
#include "programs/servicemux/captureReport.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/importOptions.h"
#include "programs/servicemux/outputFile.h"
#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/inputFile.h"
#include "programs/tables/sets/tableSetJson.h"
#include "programs/tables/sets/wholeSet.h"
#include "programs/tables/values/dvbText.h"

namespace vantor::cli {

namespace {

constexpr const char* kStdin = "-";

void report(const std::string& input, const tables::Capture& capture) {
  std::cerr << tables::printable(input) << ": ";
  if (capture.hasPids) std::cerr << counted(capture.packets, "packet") << ", ";
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
  std::cerr << std::flush;
}

/// What has no end of its own: a signal ends it, and what came until then is kept.
bool isEndless(const std::string& input) { return input == kStdin || inputs::isLive(input); }

bool isReadable(int descriptor) {
  pollfd event{descriptor, POLLIN, 0};
  return poll(&event, 1, 0) > 0;
}

/// Takes the signal that has ended the reading, so that only another one ends what follows.
void take(const Signals& signals) {
  std::array<char, 128> signal;  // as large as a signalfd_siginfo
  while (isReadable(signals.fd()) && read(signals.fd(), signal.data(), signal.size()) > 0) continue;
}

tables::InputFile readFile(const std::string& path, const inputs::InputOptions& how, Progress& progress) {
  tables::ReadingEnd end;
  end.goesOn = [&progress](const inputs::PacketSource& source) {
    progress.update(source.progress());
    return true;
  };
  return tables::readInput(path, how, end, tables::Versions::ofTheWire);
}

tables::InputFile readEndless(const ImportOptions& options, Progress& progress) {
  using Clock = tables::ReadingEnd::Clock;
  const Signals signals;
  inputs::InputOptions how = options.how;
  how.wakeFd = signals.fd();
  const auto start = Clock::now();
  tables::ReadingEnd end;
  if (options.duration > 0)
    how.openUntil = end.deadline =
        start + std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(options.duration));
  end.goesOn = [&](const inputs::PacketSource& source) {
    const std::chrono::duration<double> passed = Clock::now() - start;
    progress.update(options.duration > 0 ? std::optional(passed.count() / options.duration) : source.progress());
    return !isReadable(signals.fd());
  };
  tables::InputFile file = tables::readInput(options.input, how, end, tables::Versions::ofTheWire);
  take(signals);
  return file;
}

void checkUsage(const ImportOptions& options) {
  if (!options.output.empty() && options.input != kStdin && isSameFile(options.input, options.output))
    throw CLI::ValidationError("--output", "'" + options.output + "' is the input");
  if (options.duration > 0 && !isEndless(options.input))
    throw CLI::ValidationError("--duration", "'" + options.input + "' is a file, which is read to its end");
}

void write(const std::string& text, const std::string& path) {
  if (!path.empty()) return writeOutputFile(path, text);
  if (!(std::cout << text << std::flush)) throw outputs::OutputError("stdout cannot be written");
}

int import(const ImportOptions& options) {
  checkUsage(options);
  Progress progress("reading " + tables::printable(options.input));
  tables::InputFile file =
      isEndless(options.input) ? readEndless(options, progress) : readFile(options.input, options.how, progress);
  progress.clear();
  if (options.knownOnly) tables::leaveOutSections(file);
  if (file.capture) report(options.input, *file.capture);
  if (tables::isEmpty(file.tables) && file.tables.periods.empty())
    throw tables::InputError(tables::printable(options.input) + ": nothing to import");
  const tables::DefaultCharset charset(options.charset);
  progress.step("writing the table set");
  progress.update(std::nullopt);
  write(tables::writeTableSet(file.tables), options.output);
  return kExitOk;
}

}  // namespace

void addImport(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("import", "Make a JSON table set of a capture or a live stream");
  const auto options = std::make_shared<ImportOptions>();
  declareImportOptions(*subcommand, *options);
  subcommand->footer(
      "What the input is shows in its content: packets of 188, 192 or 204 bytes, a network capture (pcap, pcapng)\n"
      "with packets in UDP or RTP, each also in gzip or xz; sections; JSON. What is damaged is skipped and "
      "counted.\n"
      "What was found, and what of it is left out, is told on stderr.");
  subcommand->callback([options, &command] { command = [options] { return import(*options); }; });
}

}  // namespace vantor::cli
