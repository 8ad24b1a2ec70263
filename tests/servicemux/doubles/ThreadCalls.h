#pragma once

#include <pthread.h>

#include <string>
#include <vector>

/// Writes down which threads are made, which real-time priorities and names they are given and in which order they
/// are joined, while it lives. One at a time.
class ThreadCalls {
 public:
  enum class Priorities { kGranted, kRefused };

  explicit ThreadCalls(Priorities priorities);
  ThreadCalls(const ThreadCalls&) = delete;
  ThreadCalls& operator=(const ThreadCalls&) = delete;
  ~ThreadCalls();

  /// In order: "create" for each thread, "SCHED_FIFO 98" for a thread that gets this priority, "name x" for one
  /// that gets this name, and "join x" for its end, "join unnamed" for one without a name.
  [[nodiscard]] std::vector<std::string> made() const;
};

/// For the double of pthread_create.
void recordCreation(pthread_t thread);
