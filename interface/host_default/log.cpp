#include "interface/host_default/log.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "interface/host_default/LogSink.h"
#include "interface/host_default/Logger.h"

namespace vantor {

namespace {

constexpr const char* kThresholdVariable = "SERVICEMUX_LOG";
constexpr int kDefaultThreshold = HOST_LOG_NOTICE;

/// Longer messages are cut off: a line stays a line, and the stack of a real-time thread stays small.
constexpr std::size_t kMaxMessage = 2048;

constexpr int toKnownLevel(int level) {
  return std::clamp(level, static_cast<int>(HOST_LOG_ERROR), static_cast<int>(HOST_LOG_DEBUG));
}

std::atomic<Logger*> currentLogger{nullptr};
std::atomic<Logger*> parentsLogger{nullptr};  // in a forked child; so that leak checkers still see it

void beforeFork() { StderrSink::formatting().lock(); }

void afterFork() { StderrSink::formatting().unlock(); }

/// A forked child has none of the logger's threads, and its locks may be held for ever: the child writes directly.
void replaceInForkedChild() {
  afterFork();
  parentsLogger = currentLogger.exchange(new Logger);
}

/// Makes the logger. It is never freed, so that destructors of static objects can still log, then directly.
bool startLogger() {
  auto* const logger = new Logger;
  logger->start();
  currentLogger = logger;
  std::atexit([] { currentLogger.load()->stop(); });
  pthread_atfork(beforeFork, afterFork, replaceInForkedChild);
  return true;
}

Logger& processLogger() {
  [[maybe_unused]] static const bool started = startLogger();
  return *currentLogger;
}

thread_local const char* context = nullptr;

/// The message behind "[output] ", unless it says so itself or the thread logs for none.
std::string inContext(std::string_view text) {
  if (context == nullptr) return std::string(text);
  const std::string prefix = '[' + std::string(context) + ']';
  return text.substr(0, prefix.size()) == prefix ? std::string(text) : prefix + ' ' + std::string(text);
}

int thresholdFromEnvironment() {
  const char* const value = std::getenv(kThresholdVariable);
  if (value == nullptr) return kDefaultThreshold;
  for (int level = HOST_LOG_ERROR; level <= HOST_LOG_DEBUG; ++level)
    if (value == std::to_string(level) || value == std::string_view(logLevelName(level))) return level;
  processLogger().write(HOST_LOG_WARNING, std::string(kThresholdVariable) + ": '" + value +
                                              "' is none of error, warning, notice, info, debug or 3 to 7");
  return kDefaultThreshold;
}

std::atomic<int>& threshold() {
  static std::atomic<int> level{thresholdFromEnvironment()};
  return level;
}

std::atomic<const char*> leftOut{nullptr};

bool isLeftOut(std::string_view text) {
  const char* const unwanted = leftOut;
  return unwanted != nullptr && text == unwanted;
}

}  // namespace

void setLogThreshold(int level) { threshold() = toKnownLevel(level); }

void leaveOutOfLog(const char* text) { leftOut = text; }

}  // namespace vantor

void log_function(int level, int, const char* format, ...) {
  using namespace vantor;
  if (level > threshold()) return;
  std::array<char, kMaxMessage + 1> text;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  if (length < 0) return processLogger().write(toKnownLevel(level), inContext(format));
  constexpr std::string_view kCutOff = "...";
  if (static_cast<std::size_t>(length) > kMaxMessage)
    kCutOff.copy(&text[kMaxMessage - kCutOff.size()], kCutOff.size());
  if (isLeftOut(text.data())) return;
  processLogger().write(toKnownLevel(level), inContext(text.data()));
}

const char* log_context(const char* output) { return std::exchange(vantor::context, output); }
