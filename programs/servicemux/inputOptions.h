#pragma once

#include <CLI/CLI.hpp>

#include "programs/inputs/InputOptions.h"

namespace vantor::cli {

/// Declares the options of every subcommand that reads a transport stream; they refer to `options`.
void addInputOptions(CLI::App& app, inputs::InputOptions& options);

}  // namespace vantor::cli
