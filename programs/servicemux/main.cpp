#include <algorithm>
#include <exception>
#include <iostream>

#include "programs/outputs/OutputError.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/text.h"
#include "programs/tables/json/InputError.h"

namespace {

using namespace vantor::cli;

int fail(int status, const std::string& message) {
  // In one piece, so that no log line gets in between.
  std::cerr << "servicemux: " + message + "\n" << std::flush;
  return status;
}

int failForInput(const vantor::tables::InputError& error) {
  for (const std::string& line : shortened(linesOf(error))) fail(kExitBadInput, line);
  return kExitBadInput;
}

/// A mistyped option is what is wrong, not the value that it took from another.
std::string usageProblem(const CLI::App& app, const CLI::ParseError& error) {
  std::vector<std::string> unknown = app.remaining(true);
  std::reverse(unknown.begin(), unknown.end());  // into the order of the command line
  const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  return vantor::tables::printable(isMissing && !unknown.empty() ? CLI::ExtrasError(unknown).what() : error.what());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Puts the signalling tables of an MPEG-2 transport stream on air.", "servicemux");
  app.set_version_flag("--version", "servicemux " SERVICEMUX_VERSION);
  app.require_subcommand(0, 1);
  app.footer(
      "Exit status: 0 done, 1 bad input, 2 bad usage, 3 an output that could not be used, 4 a limit broken (watch\n"
      "--strict); check and diff have more, see there.");
  Command command;
  addPlay(app, command);
  addImport(app, command);
  addWatch(app, command);
  addCheck(app, command);
  addDiff(app, command);
  try {
    app.parse(argc, argv);
    if (!command) return fail(kExitBadUsage, "no subcommand given, see servicemux --help");
    return command();
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return fail(kExitBadUsage, usageProblem(app, error));
  } catch (const vantor::outputs::OutputError& error) {
    return fail(kExitOutput, vantor::tables::printable(error.what()));
  } catch (const vantor::tables::InputError& error) {
    return failForInput(error);
  } catch (const std::exception& error) {
    return fail(kExitBadInput, error.what());
  }
}
