#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "programs/inputs/InputOptions.h"

namespace vantor::cli {

struct ImportOptions {
  std::string input;
  std::string output;        ///< empty for stdout
  bool knownOnly = false;    ///< nothing as whole sections
  double duration = 0;       ///< s, 0 for ever
  std::string charset;       ///< of texts that do not name theirs; empty for that of the standard
  inputs::InputOptions how;  ///< without wakeFd
};

/// Declares the options of `import`; they refer to `options`.
void declareImportOptions(CLI::App& app, ImportOptions& options);

}  // namespace vantor::cli
