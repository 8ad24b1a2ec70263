#include <poll.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "interface/host_default/log.h"
#include "programs/servicemux/Display.h"
#include "programs/servicemux/LiveView.h"
#include "programs/servicemux/PlayedTables.h"
#include "programs/servicemux/Progress.h"
#include "programs/servicemux/Reload.h"
#include "programs/servicemux/Signals.h"
#include "programs/servicemux/Targets.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/playOptions.h"
#include "programs/servicemux/realTimeRights.h"
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
  Show(const PlayOptions& options, const Signals& signals, Targets& targets, serviceMux& mux, tables::OnAir& onAir,
       Reload& reload)
      : options(options),
        signals(signals),
        targets(targets),
        mux(mux),
        onAir(onAir),
        reload(reload),
        display(options.quiet, targets.takeStdout() ? Display::Place::Stderr : Display::Place::Stdout) {}

  void run() {
    rate.update(start, 0);
    static_cast<void>(targets.states(start, mux.statistics()));
    tellOfStretch();
    try {
      while (true) {
        wait();
        keepUp();
        if (const auto due = reload.due(); due && Clock::now() >= *due) takeOverFiles();
      }
    } catch (const Ended&) {
      sumUp();
    }
  }

 private:
  void sumUp() {
    OutputState last = state(Clock::now());
    targets.finish();
    tellOfOutputs();
    last.destinations = targets.states(Clock::now(), last.statistics);
    display.sumUp(last);
  }

  /// Waits until there is something to do.
  void wait() {
    auto until = next;
    if (end) until = std::min(until, *end);
    if (reload.due()) until = std::min(until, *reload.due());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    std::array<pollfd, 4> events{{{signals.fd(), POLLIN, 0},
                                  {display.logFd(), POLLIN, 0},
                                  {display.keysFd(), POLLIN, 0},
                                  {reload.fd(), POLLIN, 0}}};
    poll(events.data(), events.size(), static_cast<int>(std::max<long>(left, 0)));
    // What is on air does not go off by a slip of the finger: quitting is for Ctrl-C.
    if (events[2].revents != 0) static_cast<void>(display.takeKeys());
    if (events[3].revents != 0) reload.noticeChanges(Clock::now());
    isDisturbed = events[1].revents != 0 || events[2].revents != 0;
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
      tellOfOutputs();
      if (targets.areOver()) throw Ended();
      next = std::max(next + display.interval(), now);
    } else if (!isDisturbed) {
      return;
    }
    display.show(state(now));
  }

  /// What takes long on the way keeps nothing else waiting.
  void takeOverFiles() {
    isDisturbed = false;
    for (const std::string& line : reload.run(Clock::now(), [this](std::optional<double>) { keepUp(); }))
      warn(line);
  }

  void tellOfStretch() {
    const std::string notice = stretch.update(mux.statistics(), options.bitrate);
    if (!notice.empty()) warn(notice);
  }

  void tellOfOutputs() {
    for (const std::string& line : targets.news()) warn(line);
  }

  OutputState state(Clock::time_point now) {
    OutputState out;
    out.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - start);
    out.statistics = mux.statistics();
    out.kbps = rate.update(now, out.statistics.bytesSent);
    out.destinations = targets.states(now, out.statistics);
    out.ceiling = options.bitrate;
    out.tables = mux.tablesOnAir();
    return out;
  }

  const PlayOptions& options;
  const Signals& signals;
  Targets& targets;
  serviceMux& mux;
  tables::OnAir& onAir;
  Reload& reload;
  Display display;
  bool isDisturbed = false;  // by a log line or a key, between two times to show the state
  RateMeter rate;
  StretchNotice stretch;
  const Clock::time_point start = Clock::now();
  Clock::time_point next = start + display.interval();  // when the state is to be shown
  const std::optional<Clock::time_point> end =
      options.duration > 0
          ? std::optional(start +
                          std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(options.duration)))
          : std::nullopt;
};

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
    Progress progress("reading table sets");
    played = readPlayedTables(options, now, [&](std::optional<double> part) {
      if (signals.take() == Request::kEnd) throw Ended();
      progress.update(part);
    });
  } catch (const Ended&) {
    return kExitOk;
  }
  for (const auto& warning : played.warnings) warn(warning);
  if (!watch.problem().empty()) warn("changed files are not taken over but with SIGHUP: " + watch.problem());
  Targets targets(options);
  if (const std::string notice = tellOfRealTimeRightsOnce(); !notice.empty()) warn(notice);
  const auto output = targets.makeOutput(options);
  serviceMux& mux = *output;
  mux.setTimingProfile(options.timing);
  mux.setDatagramWait(options.datagramWait);
  mux.setBitrate(options.bitrate);
  mux.setInsertionPeriods(played.periods);
  tables::OnAir onAir(std::exchange(played.tables, {}), mux, UtcClock::now());
  giveBackMemory();
  if (options.nullPeriod > 0) mux.newNULLPkts(options.nullPeriod);
  Reload reload(options, played, now, watch, mux, onAir);
  Show(options, signals, targets, mux, onAir, reload).run();
  return targets.areOfUse(mux.statistics()) ? kExitOk : kExitOutput;
}

}  // namespace

void addPlay(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("play", "Put table sets on air");
  const auto options = std::make_shared<PlayOptions>();
  declarePlayOptions(*subcommand, *options);
  subcommand->footer(
      "Sends until Ctrl-C. Files that change meanwhile are taken over, and so they are on SIGHUP: only tables\n"
      "that differ are replaced, and a file with an error changes nothing.\n"
      "On a terminal a block shows every table with its period as set and as measured, elsewhere a line a\n"
      "second does; with --to - they are on stderr. A destination that fails is tried again each second.\n"
      "When the reader of stdout goes and there is no other destination play ends. Exit status 3: a\n"
      "destination could not be opened, or got nothing.");
  subcommand->callback([options, &command] {
    checkTogether(*options);
    command = [options] { return play(*options); };
  });
}

}  // namespace vantor::cli
