#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace vantor::cli {

/// What a parsed command line asks for; returns the exit status. May throw tables::InputError and
/// outputs::OutputError.
using Command = std::function<int()>;

// Each adds one subcommand, which stores itself in `command` when it is given.

void addPlay(CLI::App& app, Command& command);
void addImport(CLI::App& app, Command& command);
void addWatch(CLI::App& app, Command& command);
void addCheck(CLI::App& app, Command& command);
void addDiff(CLI::App& app, Command& command);

constexpr int kExitOk = 0;
constexpr int kExitBadInput = 1;
constexpr int kExitBadUsage = 2;
constexpr int kExitOutput = 3;
constexpr int kExitLimitBroken = 4;

}  // namespace vantor::cli
