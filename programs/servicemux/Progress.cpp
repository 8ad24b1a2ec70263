#include "programs/servicemux/Progress.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "programs/servicemux/text.h"

namespace vantor::cli {

namespace {

constexpr auto kSilence = std::chrono::milliseconds(500);  // what is done sooner needs no line
constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr double kLeastFraction = 0.01;  // from here on it can be said how long the rest will take
constexpr std::size_t kBarWidth = 24;
constexpr std::size_t kUsualColumns = 80;

using Seconds = std::chrono::duration<double>;

bool isLineTerminal(int descriptor) {
  const char* const term = std::getenv("TERM");
  return isatty(descriptor) != 0 && term != nullptr && std::string_view(term) != "dumb";
}

std::size_t columnsOf(int descriptor) {
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

std::string timeText(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::ceil(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
}

std::string barOf(double fraction) {
  const auto done = static_cast<std::size_t>(fraction * kBarWidth);
  return "[" + std::string(done, '#') + std::string(kBarWidth - done, ' ') + "]";
}

}  // namespace

std::string progressLine(const std::string& what, std::optional<double> fraction,
                         std::chrono::steady_clock::duration elapsed, std::size_t columns) {
  const double seconds = Seconds(elapsed).count();
  std::string rest;
  if (fraction) {
    const double done = std::clamp(*fraction, 0.0, 1.0);
    rest = "  " + barOf(done) + padLeft(std::to_string(static_cast<int>(done * 100)), 4) + " %";
    if (done >= kLeastFraction) rest += "  " + timeText(seconds / done - seconds) + " left";
  } else {
    rest = "  " + timeText(std::floor(seconds));
  }
  if (rest.size() >= columns) return rest.substr(0, columns);
  return what.substr(0, columns - rest.size()) + rest;
}

Progress::Progress(std::string what, int descriptor)
    : what(std::move(what)),
      descriptor(descriptor),
      isTerminal(isLineTerminal(descriptor)),
      next(start + kSilence) {}

Progress::~Progress() { clear(); }

void Progress::step(std::string nextStep) {
  what = std::move(nextStep);
  start = Clock::now();
  if (isDrawn) next = start;
}

void Progress::update(std::optional<double> fraction) {
  const auto now = Clock::now();
  if (!isTerminal || now < next) return;
  // One column stays free: a cursor behind the last one may stand in the next line.
  write("\r" + progressLine(what, fraction, now - start, columnsOf(descriptor) - 1) + "\x1b[K");
  isDrawn = true;
  next = now + kInterval;
}

void Progress::clear() {
  if (isDrawn) write("\r\x1b[K");
  isDrawn = false;
}

void Progress::write(const std::string& text) const {
  // A terminal that does not take it misses nothing that matters.
  [[maybe_unused]] const ssize_t written = ::write(descriptor, text.data(), text.size());
}

}  // namespace vantor::cli
