#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>

#include "programs/inputs/open.h"
#include "programs/monitor/PacketClock.h"
#include "programs/monitor/StreamMonitor.h"
#include "programs/monitor/faults.h"
#include "programs/monitor/reportJson.h"
#include "programs/servicemux/Display.h"
#include "programs/servicemux/Signals.h"
#include "programs/servicemux/Wake.h"
#include "programs/servicemux/WatchView.h"
#include "programs/servicemux/command.h"
#include "programs/servicemux/inputNotes.h"
#include "programs/servicemux/inputOptions.h"
#include "programs/servicemux/numberOptions.h"
#include "programs/tables/json/InputError.h"
#include "programs/tables/json/writeJson.h"

namespace vantor::cli {

namespace {

using Clock = std::chrono::steady_clock;
using monitor::TimeSource;

/// How often to look for keys and signals while packets come one after the other.
constexpr auto kAttention = std::chrono::milliseconds(50);

struct WatchOptions {
  std::string input;
  inputs::InputOptions source;
  unsigned int bitrate = 0;  // kbit/s, 0 when not given
  double duration = 0;       // s, 0 for ever
  bool terrestrial = false;
  bool json = false;
  bool strict = false;
  bool quiet = false;
};

/// In one piece, so that no log line gets in between.
void warn(const WatchOptions& options, const std::string& message) {
  std::cerr << "servicemux: " + tables::printable(options.input) + ": " + message + "\n" << std::flush;
}

std::int64_t utcNow() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

/// Reads a stream until it ends, the duration is over, or the user wants no more.
class Watch {
 public:
  explicit Watch(const WatchOptions& options)
      : options(options),
        display(options.quiet || options.json, Display::Place::Stdout,
                options.input == "-" ? Display::Keys::kNone : Display::Keys::kFromStdin),
        wake({signals.fd(), display.logFd(), display.keysFd()}),
        monitor(options.terrestrial ? psi::Network::kTerrestrial : psi::Network::kCableOrSatellite),
        packetClock(
            [this](std::string_view packet, std::optional<std::int64_t> time) { monitor.take(packet, time); },
            options.bitrate),
        source(inputs::open(options.input, sourceOptions())) {}

  /// Returns the exit status.
  int run() {
    auto nextShow = start + display.interval();
    auto nextLook = start;
    while (true) {
      const auto found = read(std::min(nextShow, end.value_or(nextShow)));
      if (found == inputs::Read::kEnd) break;
      const auto now = Clock::now();
      if (isOver(now)) break;
      if (found == inputs::Read::kPacket && now < nextLook) continue;
      nextLook = now + kAttention;
      const bool isDisturbed = isReadable(wake.fd());
      if (isDisturbed && !attend()) break;
      if (!isDisturbed && now < nextShow) continue;
      display.show(state());
      if (now >= nextShow) nextShow = now + display.interval();
    }
    packetClock.finish();
    return conclude();
  }

 private:
  inputs::InputOptions sourceOptions() const {
    inputs::InputOptions out = options.source;
    out.wakeFd = wake.fd();
    return out;
  }

  inputs::Read read(Clock::time_point deadline) {
    inputs::Read found = source->read(packet, deadline);
    if (found == inputs::Read::kTimeout && source->isLive()) {
      // What has come meanwhile comes first: nothing may be older than the time that is over.
      const std::int64_t now = utcNow();
      found = source->read(packet, Clock::now());
      if (found == inputs::Read::kTimeout) monitor.pass(now);
    }
    if (found == inputs::Read::kPacket)
      packetClock.take({reinterpret_cast<const char*>(packet.bytes.data()), packet.bytes.size()}, packet.time);
    return found;
  }

  /// Of a live input the duration is that of watching, of any other that of the stream.
  bool isOver(Clock::time_point now) const {
    if (end) return now >= *end;
    return options.duration > 0 && static_cast<double>(monitor.elapsed()) >= options.duration * 1e9;
  }

  /// Sees what it was woken up for. False when the user wants no more.
  bool attend() {
    if (isReadable(signals.fd())) return false;
    const int keys = display.keysFd();
    if (!isReadable(keys)) return true;
    const bool quits = display.takeKeys();
    if (display.keysFd() != keys) wake.remove(keys);
    return !quits;
  }

  monitor::Report report() const {
    monitor::Report out = monitor.report();
    const inputs::InputCounts& counts = source->counts();
    out.timeSource = packetClock.source();
    out.input = {counts.resynchronisations, counts.skippedBytes, counts.rtpLost, counts.dropped};
    return out;
  }

  WatchState state() const {
    return {tables::printable(options.input), source->progress(),
            timesText(packetClock.source(), packetClock.pcrPid()), report()};
  }

  int conclude() {
    const WatchState last = state();
    if (options.json)
      std::cout << tables::writeJson(monitor::reportJson(last.report)) << std::flush;
    else
      display.conclude(reportLines(last));
    if (!options.quiet) tellOfInput();
    if (last.report.timeSource == TimeSource::kNone && last.report.packets > 0)
      warn(options, "intervals and bitrates are not judged: there are no arrival times, no PCRs and no --bitrate");
    return options.strict && !monitor::faultsOf(last.report).empty() ? kExitLimitBroken : kExitOk;
  }

  void tellOfInput() const {
    for (const std::string& note : inputNotes(source->counts())) warn(options, note);
    for (const std::string& note : source->notes()) warn(options, note);
  }

  const WatchOptions& options;
  const Signals signals;
  Display display;
  const Wake wake;
  monitor::StreamMonitor monitor;
  monitor::PacketClock packetClock;
  const std::unique_ptr<inputs::PacketSource> source;
  inputs::Packet packet{};
  const Clock::time_point start = Clock::now();
  const std::optional<Clock::time_point> end =
      options.duration > 0 && source->isLive()
          ? std::optional(start +
                          std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(options.duration)))
          : std::nullopt;
};

void declareWatchOptions(CLI::App& app, WatchOptions& options) {
  app.add_option("INPUT", options.input,
                 "Transport stream: a file, also pcap or pcapng, also in gzip or xz; - for stdin; live "
                 "udp://ADDR:PORT or rtp://ADDR:PORT")
      ->required()
      ->type_name("");
  addInputOptions(app, options.source);
  addNumber(app, "--bitrate", options.bitrate, 1, 1000000, "KBPS",
            "Bitrate of a file in kbit/s, to judge intervals by where there are neither arrival times nor PCRs");
  addDuration(app, options.duration, "End after so many seconds, of a file after so many seconds of its stream");
  app.add_flag("--terrestrial", options.terrestrial, "Judge EITs by the limits of terrestrial networks");
  app.add_flag("--json", options.json, "Print one object with all figures at the end, and no view");
  app.add_flag("--strict", options.strict, "Exit status 4 when a limit was broken");
  app.add_flag("-q,--quiet", options.quiet, "No live view and no report");
}

}  // namespace

void addWatch(CLI::App& app, Command& command) {
  auto* const subcommand = app.add_subcommand("watch", "Show what is on a stream, against its limits");
  const auto options = std::make_shared<WatchOptions>();
  declareWatchOptions(*subcommand, *options);
  subcommand->footer(
      "Watches until the input ends, q or Ctrl-C. On a terminal a block shows every table and the packets of "
      "every\n"
      "PID, those off their limits first: arrows, PgUp, PgDn, Home and End scroll, s sorts otherwise. Elsewhere a\n"
      "line a second tells what is off its limits. Limits are those of EN 300 468, TR 101 290, TS 101 211 and "
      "ATSC\n"
      "A/65; errors of continuity, CRC, syntax and sync break one too, and so does a stream without packets.");
  subcommand->callback([options, &command] { command = [options] { return Watch(*options).run(); }; });
}

}  // namespace vantor::cli
