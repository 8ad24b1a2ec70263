#include <malloc.h>
#include <poll.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include "interface/host_default/log.h"
#include "programs/servicemux/Display.h"
#include "programs/servicemux/Signals.h"
#include "programs/servicemux/captureReport.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/playOptions.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/OnAir.h"
#include "programs/tables/sets/inputFile.h"
#include "programs/tables/sets/wholeSet.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::cli {

namespace {

using Clock = std::chrono::steady_clock;
using UtcClock = std::chrono::system_clock;

/// In one piece, so that no log line gets in between.
void warn(const std::string& message) { std::cerr << "servicemux: " + message + "\n" << std::flush; }

void tellOfCapture(const std::string& path, const tables::Capture& capture) {
  for (const auto& warning : captureWarnings(capture)) warn(tables::printable(path) + ": " + warning);
}

tables::TableSet readFiles(const std::vector<std::string>& paths) {
  tables::TableSet set;
  for (const auto& path : paths) {
    tables::InputFile file = tables::readInputFile(path);
    if (file.capture) tellOfCapture(path, *file.capture);
    tables::merge(std::move(file.tables), set);
  }
  tables::settle(set);
  return set;
}

/// Keeps the tables on air and the user informed until a signal or the end of the duration.
class Show {
 public:
  Show(const PlayOptions& options, const Signals& signals, serviceMux& mux, tables::OnAir& onAir)
      : options(options), signals(signals), mux(mux), onAir(onAir), display(options.quiet) {}

  void run() {
    rate.update(start, 0);
    tellOfStretch();
    auto next = start + display.interval();
    while (true) {
      const auto wake = end ? std::min(next, *end) : next;
      if (wait(wake)) break;
      const auto now = Clock::now();
      if (end && now >= *end) break;
      if (now >= next) {
        onAir.refresh(UtcClock::now());
        tellOfStretch();
        next = std::max(next + display.interval(), now);
      } else if (display.logFd() < 0) {
        continue;
      }
      display.show(state(now));
    }
    display.sumUp(state(Clock::now()));
  }

 private:
  /// Waits until there is something to do. Returns true when the program is to end.
  bool wait(Clock::time_point until) const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    std::array<pollfd, 2> events{{{signals.fd(), POLLIN, 0}, {display.logFd(), POLLIN, 0}}};
    const bool ready = poll(events.data(), events.size(), static_cast<int>(std::max<long>(left, 0))) > 0;
    return ready && events[0].revents != 0;
  }

  void tellOfStretch() {
    const std::string notice = stretch.update(mux.statistics(), options.bitrate);
    if (!notice.empty()) warn(notice);
  }

  OutputState state(Clock::time_point now) {
    OutputState out;
    out.destination = options.to;
    out.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - start);
    out.statistics = mux.statistics();
    out.kbps = rate.update(now, out.statistics.bytesSent);
    out.ceiling = options.bitrate;
    out.tables = mux.tablesOnAir();
    return out;
  }

  const PlayOptions& options;
  const Signals& signals;
  serviceMux& mux;
  tables::OnAir& onAir;
  Display display;
  RateMeter rate;
  StretchNotice stretch;
  const Clock::time_point start = Clock::now();
  const std::optional<Clock::time_point> end =
      options.duration > 0
          ? std::optional(start +
                          std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(options.duration)))
          : std::nullopt;
};

thrift::general::OutputAddress addressOf(const PlayOptions& options) {
  thrift::general::OutputAddress address = parseDestination(options.to).value();
  address.vlan = options.vlan;
  return address;
}

void setLogLevel(int verbose) {
  if (verbose > 0)
    setLogThreshold(verbose > 1 ? HOST_LOG_DEBUG : HOST_LOG_NOTICE);
  else if (std::getenv("SERVICEMUX_LOG") == nullptr)
    setLogThreshold(HOST_LOG_ERROR);  // warnings tell of the steps of a lifecycle too
}

/// Of all that was needed to read the tables the allocator would keep most for later, which never comes.
void giveBackMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

int play(const PlayOptions& options) {
  const Signals signals;
  setLogLevel(options.verbose);
  tables::TableSet set = readFiles(options.files);
  if (tables::isEmpty(set) && options.nullPeriod == 0) throw tables::InputError("there is no table to send");
  for (const auto& warning : tables::warningsOf(set, options.timing)) warn(warning);
  const InsertionPeriods periods = periodsOf(set, options);
  for (const auto& warning : warningsOf(periods)) warn("period of " + warning);
  serviceMux mux(options.name.c_str(), addressOf(options), options.dump);
  mux.setTimingProfile(options.timing);
  mux.setDatagramWait(options.datagramWait);
  mux.setBitrate(options.bitrate);
  mux.setInsertionPeriods(periods);
  tables::OnAir onAir(std::move(set), mux, UtcClock::now());
  giveBackMemory();
  if (options.nullPeriod > 0) mux.newNULLPkts(options.nullPeriod);
  Show(options, signals, mux, onAir).run();
  return kExitOk;
}

}  // namespace

void addPlay(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("play", "Put table sets on air");
  const auto options = std::make_shared<PlayOptions>();
  declarePlayOptions(*subcommand, *options);
  subcommand->footer(
      "Sends until Ctrl-C. On a terminal a block shows every table with its period as set and as measured,\n"
      "elsewhere a line a second does.");
  subcommand->callback([options, &command] { command = [options] { return play(*options); }; });
}

}  // namespace vantor::cli
