#pragma once

#include <string>
#include <vector>

/// Writes down which real-time priorities threads are given and in which order these threads are joined, while it
/// lives. One at a time.
class ThreadCalls {
 public:
  enum class Priorities { kGranted, kRefused };

  explicit ThreadCalls(Priorities priorities);
  ThreadCalls(const ThreadCalls&) = delete;
  ThreadCalls& operator=(const ThreadCalls&) = delete;
  ~ThreadCalls();

  /// "SCHED_FIFO 98" for a thread that gets this priority, "join 98" for the end of this thread, in order.
  [[nodiscard]] std::vector<std::string> made() const;
};
