#include "interface/host_default/LogSink.h"

#include <poll.h>
#include <spdlog/pattern_formatter.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "interface/host.h"

namespace vantor {

namespace {

class LevelFlag : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& out) override {
    constexpr const char* kPadding = "       ";
    std::string name = logLevelName(fromSpdlog(message.level));
    name.resize(std::string_view(kPadding).size(), ' ');
    out.append(name.data(), name.data() + name.size());
  }

  std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<LevelFlag>(); }
};

/// Writes all of it, unless stderr is gone.
void writeToStderr(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(STDERR_FILENO, data, size);
    if (written >= 0) {
      data += written;
      size -= static_cast<std::size_t>(written);
    } else if (errno == EAGAIN) {
      pollfd waited{STDERR_FILENO, POLLOUT, 0};
      ::poll(&waited, 1, -1);
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace

const char* logLevelName(int level) {
  constexpr std::array kNames{"error", "warning", "notice", "info", "debug"};
  return kNames.at(static_cast<std::size_t>(level - HOST_LOG_ERROR));
}

StderrSink::StderrSink() {
  auto lines = std::make_unique<spdlog::pattern_formatter>();
  lines->add_flag<LevelFlag>('*').set_pattern("%Y-%m-%d %H:%M:%S.%e %* %v");
  set_formatter_(std::move(lines));
}

std::mutex& StderrSink::formatting() {
  static std::mutex mutex;
  return mutex;
}

void StderrSink::sink_it_(const spdlog::details::log_msg& message) {
  spdlog::memory_buf_t line;
  {
    const std::lock_guard lock(formatting());
    formatter_->format(message, line);
  }
  writeToStderr(line.data(), line.size());
}

RepeatSink::~RepeatSink() { write(filter.takeAll()); }

void RepeatSink::sink_it_(const spdlog::details::log_msg& message) {
  write(filter.takeEnded(message.time));
  const std::string_view text(message.payload.data(), message.payload.size());
  if (fromSpdlog(message.level) > HOST_LOG_ERROR || filter.passes(text, message.time)) next->log(message);
}

void RepeatSink::flush_() { write(filter.takeEnded(spdlog::log_clock::now())); }

void RepeatSink::write(const std::vector<RepeatFilter::Summary>& summaries) {
  for (const auto& summary : summaries) {
    const std::string text =
        summary.text + " ... repeated " + std::to_string(summary.count) + " times in the last second";
    next->log({"", toSpdlog(HOST_LOG_ERROR), text});
  }
}

}  // namespace vantor
