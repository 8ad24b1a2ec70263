#pragma once

/// While it lives, threads cannot be created any more after so many.
class ThreadCreation {
 public:
  explicit ThreadCreation(int left);
  ThreadCreation(const ThreadCreation&) = delete;
  ThreadCreation& operator=(const ThreadCreation&) = delete;
  ~ThreadCreation();
};
