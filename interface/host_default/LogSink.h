#pragma once

#include <spdlog/sinks/base_sink.h>

#include <mutex>

#include "interface/host_default/RepeatFilter.h"

namespace vantor {

/// Levels of log_function and of spdlog, which lacks one between warning and info and counts the other way.
constexpr spdlog::level::level_enum toSpdlog(int level) {
  return static_cast<spdlog::level::level_enum>(7 - level);
}
constexpr int fromSpdlog(spdlog::level::level_enum level) { return 7 - static_cast<int>(level); }

/// "error", "warning", "notice", "info" or "debug" for levels 3 to 7.
const char* logLevelName(int level);

/// Writes lines "2026-11-20 21:30:01.123 error   text" to stderr, in local time; each line is one write where
/// stderr takes it whole. Waits as long as stderr needs.
class StderrSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  StderrSink();

  /// Held by every sink while it makes a line, not while it writes one: the C library's lock on the time zone would
  /// stay locked for ever in a child forked in the middle of that. Nothing is called under it that takes another.
  static std::mutex& formatting();

 private:
  void sink_it_(const spdlog::details::log_msg& message) override;
  void flush_() override {}
};

/// Holds back errors that repeat too fast on their way to `next`. A flush writes the summaries that are due, the
/// destructor all of them.
class RepeatSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit RepeatSink(spdlog::sink_ptr next) : next(std::move(next)) {}
  ~RepeatSink() override;

 private:
  void sink_it_(const spdlog::details::log_msg& message) override;
  void flush_() override;
  void write(const std::vector<RepeatFilter::Summary>& summaries);

  const spdlog::sink_ptr next;
  RepeatFilter filter;
};

}  // namespace vantor
