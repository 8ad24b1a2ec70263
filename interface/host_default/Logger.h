#pragma once

#include <spdlog/async_logger.h>
#include <spdlog/details/periodic_worker.h>
#include <spdlog/details/thread_pool.h>

#include <cstddef>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "interface/host_default/LogSink.h"

namespace vantor {

/// A queue in front of a sink and the threads behind it, so that whoever logs never waits for the sink. When the
/// queue is full its oldest message is lost, and the loss is logged. The destructor writes what is left.
/// Thread-safe.
class LogQueue {
 public:
  explicit LogQueue(spdlog::sink_ptr out);
  LogQueue(const LogQueue&) = delete;
  LogQueue& operator=(const LogQueue&) = delete;
  ~LogQueue();

  void write(int level, std::string_view text);

 private:
  void eachSecond();
  std::string newLosses();

  const std::shared_ptr<RepeatSink> filter;
  std::shared_ptr<spdlog::details::thread_pool> pool;
  const std::shared_ptr<spdlog::async_logger> logger;
  std::size_t reportedLosses = 0;  // the timer's thread only, while there is one
  std::unique_ptr<spdlog::details::periodic_worker> timer;
};

/// The process's log: through a queue while start() to stop() last, else straight to stderr. Thread-safe.
class Logger {
 public:
  void write(int level, std::string_view text);

  /// Makes the queue. Where no thread can be had, writing stays direct.
  void start();

  /// Writes what is queued and returns to writing directly.
  void stop();

 private:
  const std::shared_ptr<StderrSink> out = std::make_shared<StderrSink>();

  std::shared_mutex mutex;  // held shared by writers; guards which way they take
  std::unique_ptr<LogQueue> queue;
};

}  // namespace vantor
