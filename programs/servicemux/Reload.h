#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "programs/servicemux/FileWatch.h"
#include "programs/servicemux/PlayedTables.h"
#include "programs/servicemux/playOptions.h"
#include "programs/tables/sets/OnAir.h"

namespace vantor {
class serviceMux;
}

namespace vantor::cli {

/// Keeps what is on air as the files of the command line have it: waits until one of them has changed and is at
/// rest, reads all of them, and puts on air what differs. What is wrong with them is told, and everything stays.
class Reload {
 public:
  using Clock = std::chrono::steady_clock;

  /// `played` is on air, and its times count from `now`. `watch` has been there since before its files were read.
  /// All references but that to `played` are kept.
  Reload(const PlayOptions& options, const PlayedTables& played, tables::UtcTime now, FileWatch& watch,
         serviceMux& mux, tables::OnAir& onAir);

  /// Readable, in the sense of poll(2), when noticeChanges() has something to do; -1 for never.
  int fd() const { return watch.fd(); }
  void noticeChanges(Clock::time_point now);

  /// Asks for it whether a file has changed or not. Times relative to the present are told anew.
  void request(Clock::time_point now, tables::UtcTime utc);

  /// When there is something to do, if there is.
  std::optional<Clock::time_point> due() const { return dueAt; }

  /// Does what is due: reads the files and puts on air what differs, or sees whether a file that is gone has come
  /// back. Returns lines for the user. What `progress` throws ends it, and everything stays.
  std::vector<std::string> run(Clock::time_point now, const tables::ReadProgress& progress);

 private:
  bool isWaitingForAFile(Clock::time_point now) const;
  void takeOver(PlayedTables next, std::vector<std::string>& lines);
  void tellNew(const std::vector<std::string>& all, std::vector<std::string>& lines);

  const PlayOptions& options;
  serviceMux& mux;
  tables::OnAir& onAir;
  FileWatch& watch;
  InsertionPeriods periods;        // on air
  std::set<std::string> warnings;  // of what is on air, which have been told
  tables::UtcTime base;            // the present that times are relative to
  Clock::time_point firstChange;   // of those that are not read yet
  std::optional<Clock::time_point> dueAt;
};

}  // namespace vantor::cli
