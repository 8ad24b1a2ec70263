#pragma once

#include <string>
#include <vector>

/// Writes down what is handed over to carousels and section queues while it lives. One at a time.
class StreamCalls {
 public:
  StreamCalls();
  StreamCalls(const StreamCalls&) = delete;
  StreamCalls& operator=(const StreamCalls&) = delete;
  ~StreamCalls();

  /// The calls since the last take, in order: "new c8 2s" or "replace c8 2s" for a subtable with its table_id and
  /// the section count that came with it, "clear c8", and "queue 188b 3008bps" for bytes, if there are any, and
  /// rate.
  [[nodiscard]] std::vector<std::string> take();
};
