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

ScreenSize screenSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_col, size.ws_row};
}

}  // namespace

Display::Display(bool quiet) : quiet(quiet), terminal(!quiet && isTerminal()) {
  if (terminal && isatty(STDERR_FILENO) != 0) log.emplace();
}

Display::~Display() {
  if (terminal) std::cout << block.end() << std::flush;
}

std::chrono::steady_clock::duration Display::interval() const {
  return terminal ? std::chrono::milliseconds(500) : std::chrono::seconds(1);
}

int Display::logFd() const { return log ? log->fd() : -1; }

void Display::show(const OutputState& state) {
  if (terminal)
    std::cout << block.draw(blockOf(state, screenSize()), log ? log->read() : "") << std::flush;
  else if (!quiet)
    std::cout << lineOf(state) << std::endl;
}

void Display::sumUp(const OutputState& state) {
  if (terminal) show(state);
  if (!quiet) std::cout << summaryOf(state) << std::endl;
}

}  // namespace vantor::cli
