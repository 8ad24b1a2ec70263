#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "interface/records.h"

namespace vantor::cli {

struct PlayOptions {
  std::vector<std::string> files;
  std::string to;  ///< as given; ip and port once it was parsed
  int vlan = 1;
  unsigned int bitrate = 1024;  ///< kbit/s
  unsigned int nullPeriod = 0;  ///< ms, 0 for none
  double duration = 0;          ///< s, 0 for ever
  std::string dump;
  std::string name = "servicemux";
  int verbose = 0;
  bool quiet = false;
};

/// Declares the options of `play`; they refer to `options`.
void declarePlayOptions(CLI::App& app, PlayOptions& options);

/// Reads "IP:PORT"; none when the text has not this form. The address is still to be checked, and has the VLAN that
/// is taken when none is given.
std::optional<thrift::general::OutputAddress> parseDestination(const std::string& text);

}  // namespace vantor::cli
