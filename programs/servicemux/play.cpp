#include <poll.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "interface/host_default/log.h"
#include "programs/servicemux/Display.h"
#include "programs/servicemux/PlayedTables.h"
#include "programs/servicemux/Reload.h"
#include "programs/servicemux/Signals.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/playOptions.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/sets/OnAir.h"
#include "servicemux/front/serviceMux.h"

namespace vantor::cli {

namespace {

using Clock = std::chrono::steady_clock;
using UtcClock = std::chrono::system_clock;

/// In one piece, so that no log line gets in between.
void warn(const std::string& message) { std::cerr << "servicemux: " + message + "\n" << std::flush; }

/// Thrown to end what is under way because the program is to end.
struct Ended {};

/// Keeps the tables on air and the user informed until a signal or the end of the duration.
class Show {
 public:
  Show(const PlayOptions& options, const Signals& signals, serviceMux& mux, tables::OnAir& onAir, Reload& reload)
      : options(options), signals(signals), mux(mux), onAir(onAir), reload(reload), display(options.quiet) {}

  void run() {
    rate.update(start, 0);
    tellOfStretch();
    try {
      while (true) {
        wait();
        keepUp();
        if (const auto due = reload.due(); due && Clock::now() >= *due) takeOverFiles();
      }
    } catch (const Ended&) {
      display.sumUp(state(Clock::now()));
    }
  }

 private:
  /// Waits until there is something to do.
  void wait() {
    auto until = next;
    if (end) until = std::min(until, *end);
    if (reload.due()) until = std::min(until, *reload.due());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    std::array<pollfd, 3> events{
        {{signals.fd(), POLLIN, 0}, {display.logFd(), POLLIN, 0}, {reload.fd(), POLLIN, 0}}};
    poll(events.data(), events.size(), static_cast<int>(std::max<long>(left, 0)));
    if (events[2].revents != 0) reload.noticeChanges(Clock::now());
    hasLog = events[1].revents != 0;
  }

  /// Does what the time asks for. Throws Ended when the program is to end.
  void keepUp() {
    const auto now = Clock::now();
    switch (signals.take()) {
      case Request::kEnd:
        throw Ended();
      case Request::kReload:
        reload.request(now, UtcClock::now());
        break;
      case Request::kNothing:
        break;
    }
    if (end && now >= *end) throw Ended();
    if (now >= next) {
      onAir.refresh(UtcClock::now());
      tellOfStretch();
      next = std::max(next + display.interval(), now);
    } else if (!hasLog) {
      return;
    }
    display.show(state(now));
  }

  /// What takes long on the way keeps nothing else waiting.
  void takeOverFiles() {
    hasLog = false;
    for (const std::string& line : reload.run(Clock::now(), [this](std::uint64_t, std::uint64_t) { keepUp(); }))
      warn(line);
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
  Reload& reload;
  Display display;
  RateMeter rate;
  StretchNotice stretch;
  const Clock::time_point start = Clock::now();
  Clock::time_point next = start + display.interval();  // when the state is to be shown
  bool hasLog = false;                                  // that is to be shown with it
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

int play(const PlayOptions& options) {
  const Signals signals;
  setLogLevel(options.verbose);
  FileWatch watch(options.files);
  const auto now = UtcClock::now();
  PlayedTables played;
  try {
    played = readPlayedTables(options, now, [&signals](std::uint64_t, std::uint64_t) {
      if (signals.take() == Request::kEnd) throw Ended();
    });
  } catch (const Ended&) {
    return kExitOk;
  }
  for (const auto& warning : played.warnings) warn(warning);
  if (!watch.problem().empty()) warn("changed files are not taken over but with SIGHUP: " + watch.problem());
  serviceMux mux(options.name.c_str(), addressOf(options), options.dump);
  mux.setTimingProfile(options.timing);
  mux.setDatagramWait(options.datagramWait);
  mux.setBitrate(options.bitrate);
  mux.setInsertionPeriods(played.periods);
  tables::OnAir onAir(std::exchange(played.tables, {}), mux, UtcClock::now());
  giveBackMemory();
  if (options.nullPeriod > 0) mux.newNULLPkts(options.nullPeriod);
  Reload reload(options, played, now, watch, mux, onAir);
  Show(options, signals, mux, onAir, reload).run();
  return kExitOk;
}

}  // namespace

void addPlay(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("play", "Put table sets on air");
  const auto options = std::make_shared<PlayOptions>();
  declarePlayOptions(*subcommand, *options);
  subcommand->footer(
      "Sends until Ctrl-C. Files that change meanwhile are taken over, and so they are on SIGHUP: only tables\n"
      "that differ are replaced, and a file with an error changes nothing.\n"
      "On a terminal a block shows every table with its period as set and as measured,\n"
      "elsewhere a line a second does.");
  subcommand->callback([options, &command] { command = [options] { return play(*options); }; });
}

}  // namespace vantor::cli
