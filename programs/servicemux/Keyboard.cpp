#include "programs/servicemux/Keyboard.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>

namespace vantor::cli {

namespace {

// What the handlers need; written while none of them is installed.
termios usual;
termios raw;
int screen = -1;

// Those that end a program, but for what Signals takes.
constexpr std::array<int, 7> kEndings{SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGALRM};
constexpr const char kShowCursor[] = "\x1b[?25h";  // ECMA-48 private mode of terminals since the VT220

void set(const termios& mode) { tcsetattr(STDIN_FILENO, TCSANOW, &mode); }

/// Only what a handler may call.
void giveBack() {
  set(usual);
  [[maybe_unused]] const ssize_t ignored = write(screen, kShowCursor, sizeof kShowCursor - 1);
}

void end(int number) {
  giveBack();
  raise(number);  // with SA_RESETHAND it ends the program now
}

void pause(int) {
  giveBack();
  raise(SIGSTOP);
  // Going on in the background, it must not touch the terminal.
  if (Keyboard::isThere()) set(raw);
}

void handle(int number, void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigaction(number, &action, nullptr);
}

}  // namespace

bool Keyboard::isThere() { return isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp(); }

Keyboard::Keyboard(int drawnOn) {
  screen = drawnOn;
  tcgetattr(STDIN_FILENO, &usual);
  raw = usual;
  // Ctrl-C and Ctrl-Z go on being signals, and lines of output end as ever.
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  for (const int number : kEndings) handle(number, end, static_cast<int>(SA_RESETHAND));
  handle(SIGTSTP, pause, SA_RESTART);
  set(raw);
}

Keyboard::~Keyboard() {
  // From the background it would stop the program.
  if (isThere()) set(usual);
  for (const int number : kEndings) handle(number, SIG_DFL, 0);
  handle(SIGTSTP, SIG_DFL, 0);
}

int Keyboard::fd() const { return isOpen ? STDIN_FILENO : -1; }

std::vector<Key> Keyboard::read() {
  std::array<char, 64> bytes{};
  const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  // Only called when there is something: nothing is the end.
  if (count <= 0) isOpen = false;
  return count <= 0 ? std::vector<Key>() : reader.take(std::string(bytes.data(), static_cast<std::size_t>(count)));
}

}  // namespace vantor::cli
