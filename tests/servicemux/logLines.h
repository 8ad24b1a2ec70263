#pragma once

#include <string>
#include <vector>

#include "tests/interface/RecordedLog.h"

/// The messages since the last call, each as its level, a blank and its text.
inline std::vector<std::string> takeLines(RecordedLog& log) {
  std::vector<std::string> lines;
  for (const auto& message : log.take()) lines.push_back(std::to_string(message.level) + " " + message.text);
  return lines;
}
