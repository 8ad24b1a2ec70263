#include "tests/interface/RecordedLog.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "interface/host.h"

namespace {

std::mutex mutex;
bool recording = false;
std::vector<RecordedLog::Message> messages;

thread_local const char* context = nullptr;

}  // namespace

RecordedLog::RecordedLog() {
  const std::lock_guard lock(mutex);
  recording = true;
}

RecordedLog::~RecordedLog() {
  const std::lock_guard lock(mutex);
  recording = false;
  messages.clear();
}

std::vector<RecordedLog::Message> RecordedLog::take() {
  const std::lock_guard lock(mutex);
  return std::exchange(messages, {});
}

std::vector<std::string> RecordedLog::takeErrors() {
  std::vector<std::string> errors;
  for (const Message& message : take()) {
    EXPECT_EQ(message.level, HOST_LOG_ERROR) << message.text;
    errors.push_back(message.text);
  }
  return errors;
}

void log_function(int level, int module, const char* format, ...) {
  EXPECT_EQ(module, 0);
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const std::lock_guard lock(mutex);
  if (recording) messages.push_back({level, text, context != nullptr ? context : ""});
}

const char* log_context(const char* output) { return std::exchange(context, output); }
