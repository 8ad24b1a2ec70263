#pragma once

#include <optional>
#include <string>
#include <vector>

#include "programs/tables/json/writeJson.h"
#include "programs/tables/review/Finding.h"
#include "programs/tables/review/needs.h"

namespace vantor::cli {

/// A finding and where it stands.
struct PlacedFinding {
  tables::Severity severity;
  std::string file;     ///< empty for all of them together
  std::string pointer;  ///< the JSON pointer there; empty for the whole file
  std::string text;
};

/// All that `check` has to say.
struct CheckReport {
  std::vector<PlacedFinding> findings;
  std::optional<tables::Needs> needs;  ///< none when there is nothing that could go on air
  unsigned int bitrate = 0;            ///< kbit/s
  bool stretches = true;               ///< whether the timing stretches periods where not all fits

  bool has(tables::Severity severity) const;
  /// Whether it all goes on air as often as it is to be repeated.
  bool fits() const;
};

/// "error: tables.json: /pat/programs/3/pid: 9000 is above 0x1FFF"
std::string lineOf(const PlacedFinding& finding);

/// kbit/s, to the tenth.
std::string rateText(double kbps);

/// What each PID needs, as a table.
std::vector<std::string> needsTable(const tables::Needs& needs, unsigned int bitrate);

tables::OrderedJson toJson(const CheckReport& report);

}  // namespace vantor::cli
