#pragma once

#include <string>
#include <vector>

/// Stands for the host's log in a test program: takes every message while an object of it lives. One at a time.
class RecordedLog {
 public:
  struct Message {
    int level;
    std::string text;
    std::string context;  ///< the output that the thread logged for, empty for none
  };

  RecordedLog();
  RecordedLog(const RecordedLog&) = delete;
  RecordedLog& operator=(const RecordedLog&) = delete;
  ~RecordedLog();

  /// What has come since the last call.
  std::vector<Message> take();
  /// The same for errors, which must be all there is.
  std::vector<std::string> takeErrors();
};
