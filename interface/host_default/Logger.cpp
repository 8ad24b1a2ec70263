#include "interface/host_default/Logger.h"

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <future>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include "interface/host.h"

namespace vantor {

namespace {

constexpr std::size_t kQueueSize = 1024;  // messages

/// Leaves the priority and the signals of the thread that happened to log first; threads made from here inherit it.
void becomeBackgroundThread() {
  const sched_param parameters{};
  pthread_setschedparam(pthread_self(), SCHED_OTHER, &parameters);
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

LogQueue::LogQueue(spdlog::sink_ptr out)
    : filter(std::make_shared<RepeatSink>(std::move(out))),
      pool(std::make_shared<spdlog::details::thread_pool>(kQueueSize, 1)),
      logger(
          std::make_shared<spdlog::async_logger>("", filter, pool, spdlog::async_overflow_policy::overrun_oldest)) {
  logger->set_level(spdlog::level::trace);
  timer = std::make_unique<spdlog::details::periodic_worker>([this] { eachSecond(); }, std::chrono::seconds(1));
}

LogQueue::~LogQueue() {
  timer.reset();
  const std::string losses = newLosses();
  pool.reset();  // returns when all that is queued is written
  if (!losses.empty()) filter->log({"", toSpdlog(HOST_LOG_WARNING), losses});
}

void LogQueue::write(int level, std::string_view text) {
  logger->log(toSpdlog(level), spdlog::string_view_t(text.data(), text.size()));
}

void LogQueue::eachSecond() {
  if (const std::string losses = newLosses(); !losses.empty()) write(HOST_LOG_WARNING, losses);
  logger->flush();
}

/// A message on what was lost since the last call, empty when nothing was.
std::string LogQueue::newLosses() {
  const std::size_t losses = pool->overrun_counter();
  const std::size_t unreported = losses - std::exchange(reportedLosses, losses);
  return unreported == 0 ? "" : std::to_string(unreported) + " log messages lost: stderr is too slow";
}

void Logger::write(int level, std::string_view text) {
  const std::shared_lock lock(mutex);
  if (queue)
    queue->write(level, text);
  else
    out->log({"", toSpdlog(level), spdlog::string_view_t(text.data(), text.size())});
}

void Logger::start() {
  try {
    auto started = std::async(std::launch::async, [this] {
                     becomeBackgroundThread();
                     return std::make_unique<LogQueue>(out);
                   }).get();
    const std::unique_lock lock(mutex);
    queue = std::move(started);
  } catch (const std::system_error& error) {
    write(HOST_LOG_WARNING, std::string("logging without a thread of its own: ") + error.what());
  }
}

void Logger::stop() {
  std::unique_ptr<LogQueue> stopped;
  const std::unique_lock lock(mutex);
  stopped.swap(queue);
}

}  // namespace vantor
