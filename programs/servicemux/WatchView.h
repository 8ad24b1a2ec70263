#pragma once

#include <optional>
#include <string>
#include <vector>

#include "programs/monitor/Report.h"
#include "programs/servicemux/ListView.h"

namespace vantor::cli {

/// A stream that is watched, at one moment.
struct WatchState {
  std::string input;               ///< as given
  std::optional<double> progress;  ///< how much of it is read, 0 to 1, where that is known
  std::string times;               ///< what intervals are judged by, for people
  monitor::Report report;
};

/// "by arrival times", "by the PCRs of PID 0x0100"
std::string timesText(monitor::TimeSource source, std::uint16_t pcrPid);

/// The state as a block for a terminal: a row for each table and one for the packets of each PID; those off their
/// limits come first unless the view has another order.
std::vector<std::string> blockOf(const WatchState& state, ScreenSize screen, ListView& view);

/// The state on one line, with everything that is off its limits.
std::string lineOf(const WatchState& state);

/// The state in full, as plain text: every row, the worst first, and what is off its limits, a line each.
std::vector<std::string> reportLines(const WatchState& state);

}  // namespace vantor::cli
