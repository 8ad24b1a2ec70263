#include "programs/servicemux/Display.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace vantor::cli {

namespace {

bool isTerminal(int screen) {
  const char* const term = std::getenv("TERM");
  return isatty(screen) != 0 && term != nullptr && std::string_view(term) != "dumb";
}

ScreenSize sizeOf(int screen) {
  winsize size{};
  if (ioctl(screen, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_col, size.ws_row};
}

}  // namespace

Display::Display(bool quiet, Place place)
    : quiet(quiet),
      screen(fcntl(place == Place::Stdout ? STDOUT_FILENO : STDERR_FILENO, F_DUPFD_CLOEXEC, 0)),
      terminal(!quiet && isTerminal(screen.get())) {
  if (terminal && isatty(STDERR_FILENO) != 0) log.emplace();
}

Display::~Display() {
  if (terminal) write(block.end());
}

std::chrono::steady_clock::duration Display::interval() const {
  return terminal ? std::chrono::milliseconds(500) : std::chrono::seconds(1);
}

int Display::logFd() const { return log ? log->fd() : -1; }

void Display::show(const OutputState& state) {
  if (terminal)
    write(block.draw(blockOf(state, sizeOf(screen.get())), log ? log->read() : ""));
  else if (!quiet)
    write(lineOf(state) + "\n");
}

void Display::sumUp(const OutputState& state) {
  if (terminal) show(state);
  if (!quiet) write(summaryOf(state) + "\n");
}

/// In one piece where the place takes it, so that no log line gets in between. A reader that is gone is no loss.
void Display::write(const std::string& text) const {
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(screen.get(), text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace vantor::cli
