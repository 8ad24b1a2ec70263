#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interface/records.h"
#include "servicemux/muxer/TimingProfile.h"
#include "servicemux/output/periodFields.h"

namespace vantor::cli {

struct PlayOptions {
  std::vector<std::string> files;
  std::string to;  ///< as given; ip and port once it was parsed
  int vlan = 1;
  unsigned int bitrate = 1024;  ///< kbit/s
  unsigned int nullPeriod = 0;  ///< ms, 0 for none
  double duration = 0;          ///< s, 0 for ever
  TimingProfile timing = TimingProfile::Standards;
  unsigned int datagramWait = 20;    ///< ms
  std::vector<std::string> periods;  ///< as given; table and period once they were parsed
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

/// A table's period.
struct GivenPeriod {
  const PeriodField* field;
  std::int64_t period;  ///< ms
};

/// Reads "TABLE=MS"; none when the text has not this form, or names no table. The period is still to be checked.
std::optional<GivenPeriod> parsePeriod(const std::string& text);

}  // namespace vantor::cli
