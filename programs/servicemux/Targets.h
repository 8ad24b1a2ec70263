#pragma once

#include <memory>
#include <string>
#include <vector>

#include "programs/outputs/OutputNews.h"
#include "programs/outputs/Outputs.h"
#include "programs/servicemux/LiveView.h"
#include "programs/servicemux/playOptions.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::cli {

/// Where `play` sends: outputs of the program's own, or the one that the library opens by the device's address
/// plan. For one thread.
class Targets {
 public:
  /// Opens the outputs, so that nothing is on air when one of them cannot be used. Throws outputs::OutputError.
  explicit Targets(const PlayOptions& options);

  /// A multiplex that sends there.
  [[nodiscard]] std::unique_ptr<serviceMux> makeOutput(const PlayOptions& options) const;

  /// True when the packets go to stdout, so that nothing else may.
  [[nodiscard]] bool takeStdout() const;

  /// What each has got, with its rate since the calls before. `statistics` is the multiplex's.
  [[nodiscard]] std::vector<DestinationState> states(RateMeter::Clock::time_point now,
                                                     const MuxerStatistics& statistics);

  /// What has begun to fail, or works again, since the last call; a line each.
  [[nodiscard]] std::vector<std::string> news();

  /// True when none of them can ever be sent to any more.
  [[nodiscard]] bool areOver() const;

  /// Waits until what was sent is written.
  void finish() const;

  /// Whether each of them has got something, if there was something to send.
  [[nodiscard]] bool areOfUse(const MuxerStatistics& statistics) const;

 private:
  const std::vector<std::string> names;
  const std::shared_ptr<outputs::Outputs> own;  // null with the device's address plan
  std::vector<RateMeter> rates;
  std::vector<outputs::OutputNews> toTell;
};

}  // namespace vantor::cli
