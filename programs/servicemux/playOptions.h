#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interface/records.h"
#include "programs/outputs/Destination.h"
#include "programs/outputs/UdpSocket.h"
#include "programs/tables/kinds/TableSet.h"
#include "servicemux/muxer/TimingProfile.h"
#include "servicemux/output/InsertionPeriods.h"
#include "servicemux/output/periodFields.h"

namespace vantor::cli {

/// What tells which tables an output has, and at which rates.
struct TableOptions {
  std::vector<std::string> files;
  unsigned int bitrate = 1024;  ///< kbit/s
  TimingProfile timing = TimingProfile::Standards;
  std::vector<std::string> periods;  ///< as given; table and period once they were parsed
};

struct PlayOptions : TableOptions {
  std::vector<std::string> to;     ///< as given; each can be parsed
  outputs::SocketOptions sockets;  ///< of the outputs that are sockets
  bool deviceAddressing = false;   ///< the library opens the only output, by the device's address plan
  int vlan = 1;                    ///< with the device's address plan
  unsigned int nullPeriod = 0;     ///< ms, 0 for none
  double duration = 0;             ///< s, 0 for ever
  unsigned int datagramWait = 20;  ///< ms
  std::string dump;
  std::string name = "servicemux";
  int verbose = 0;
  bool quiet = false;
};

// Each declares some of the options of TableOptions, so that they are the same wherever they are; they refer to
// `options`.

void declareFiles(CLI::App& app, TableOptions& options);
void declareBitrate(CLI::App& app, TableOptions& options);
void declareTiming(CLI::App& app, TableOptions& options);
void declarePeriods(CLI::App& app, TableOptions& options);

/// Declares the options of `play`; they refer to `options`.
void declarePlayOptions(CLI::App& app, PlayOptions& options);

/// Whether the options fit together, once all are there; throws CLI::ValidationError.
void checkTogether(const PlayOptions& options);

/// Where to, by these options.
std::vector<outputs::Destination> destinationsOf(const PlayOptions& options);

/// The only output's address by the device's address plan.
thrift::general::OutputAddress deviceAddressOf(const PlayOptions& options);

/// A table's period.
struct GivenPeriod {
  const PeriodField* field;
  std::int64_t period;  ///< ms
};

/// How often tables are repeated: as the command line says, and else as the set does.
InsertionPeriods periodsOf(const tables::TableSet& set, const TableOptions& options);

/// Reads "TABLE=MS"; none when the text has not this form, or names no table. The period is still to be checked.
std::optional<GivenPeriod> parsePeriod(const std::string& text);

}  // namespace vantor::cli
