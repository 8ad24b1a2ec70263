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

}  // namespace

Display::Display(bool quiet, Place place, Keys keys)
    : quiet(quiet),
      screen(fcntl(place == Place::Stdout ? STDOUT_FILENO : STDERR_FILENO, F_DUPFD_CLOEXEC, 0)),
      terminal(!quiet && isTerminal(screen.get())),
      view(terminal && keys == Keys::kFromStdin && Keyboard::isThere()) {
  if (view.hasKeys()) keyboard.emplace(screen.get());
  if (terminal && isatty(STDERR_FILENO) != 0) log.emplace();
}

Display::~Display() {
  if (terminal) write(block.end());
}

std::chrono::steady_clock::duration Display::interval() const {
  return terminal ? std::chrono::milliseconds(500) : std::chrono::seconds(1);
}

int Display::logFd() const { return log ? log->fd() : -1; }

int Display::keysFd() const { return keyboard ? keyboard->fd() : -1; }

bool Display::takeKeys() {
  bool quits = false;
  for (const Key key : keyboard->read()) {
    quits = quits || key == Key::kQuit;
    view.take(key);
  }
  return quits;
}

void Display::conclude(const std::vector<std::string>& lines) {
  if (terminal) return draw(lines);
  if (quiet) return;
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  write(text);
}

ScreenSize Display::screenSize() const {
  winsize size{};
  if (ioctl(screen.get(), TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_col, size.ws_row};
}

void Display::draw(const std::vector<std::string>& lines) { write(block.draw(lines, log ? log->read() : "")); }

/// In one piece where the place takes it, so that no log line gets in between. A reader that is gone is no loss.
void Display::write(const std::string& text) const {
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(screen.get(), text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace vantor::cli
