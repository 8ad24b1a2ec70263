#include "programs/servicemux/Display.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace vantor::cli {

namespace {

bool isTerminal() {
  const char* const term = std::getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && term != nullptr && std::string_view(term) != "dumb";
}

}  // namespace

Display::Display(bool quiet, Keys keys)
    : quiet(quiet),
      terminal(!quiet && isTerminal()),
      view(terminal && keys == Keys::kFromStdin && Keyboard::isThere()) {
  if (view.hasKeys()) keyboard.emplace(STDOUT_FILENO);
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

ScreenSize Display::screenSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_col, size.ws_row};
}

void Display::draw(const std::vector<std::string>& lines) { write(block.draw(lines, log ? log->read() : "")); }

void Display::write(const std::string& text) { std::cout << text << std::flush; }

}  // namespace vantor::cli
