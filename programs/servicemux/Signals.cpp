#include "programs/servicemux/Signals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace vantor::cli {

namespace {

/// SIGHUP comes from who wants the files read anew, and from a terminal that is gone with its user.
bool isTerminalGone() {
  const auto isGone = [](int descriptor) {
    termios ignored{};
    return tcgetattr(descriptor, &ignored) != 0 && errno == EIO;
  };
  return isGone(STDIN_FILENO) || isGone(STDOUT_FILENO) || isGone(STDERR_FILENO);
}

}  // namespace

Signals::Signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  // nohup(1) has a program outlive its terminal by having it ignore SIGHUP.
  struct sigaction hangUp {};
  sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  // A reader of our output that goes away is no reason to go off air, and neither is a file as large as may be.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

Request Signals::take() const {
  Request request = Request::kNothing;
  signalfd_siginfo signal{};
  while (read(descriptor, &signal, sizeof signal) == sizeof signal) {
    if (signal.ssi_signo != SIGHUP || isTerminalGone()) return Request::kEnd;
    request = Request::kReload;
  }
  return request;
}

Signals::~Signals() { close(descriptor); }

}  // namespace vantor::cli
