#pragma once

#include <string>

#include "interface/host.h"

namespace vantor {

/// While it lives the calling thread logs for one output, so that messages which do not name it can be told from
/// those of others. `output` must outlive it.
class LogScope {
 public:
  explicit LogScope(const std::string& output) : before(log_context(output.c_str())) {}
  LogScope(const LogScope&) = delete;
  LogScope& operator=(const LogScope&) = delete;
  ~LogScope() { log_context(before); }

 private:
  const char* const before;
};

}  // namespace vantor
