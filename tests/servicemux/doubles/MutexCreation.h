#pragma once

/// While it lives, mutexes cannot be made any more after so many.
class MutexCreation {
 public:
  explicit MutexCreation(int left);
  MutexCreation(const MutexCreation&) = delete;
  MutexCreation& operator=(const MutexCreation&) = delete;
  ~MutexCreation();

  /// Whether one has been asked for in vain.
  [[nodiscard]] bool hasFailed() const;
};
