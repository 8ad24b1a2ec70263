#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

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

struct Destination {
  std::string ip;
  int port = 0;
};

/// Reads "IP:PORT". Returns false unless it is a dotted IPv4 address and a port from 1 to 65535.
bool parseDestination(const std::string& text, Destination& destination);

}  // namespace vantor::cli
