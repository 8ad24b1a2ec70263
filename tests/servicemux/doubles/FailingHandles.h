#pragma once

/// While it lives libdvbpsi has memory for so many handles more and for none after them.
class FailingHandles {
 public:
  explicit FailingHandles(int left);
  FailingHandles(const FailingHandles&) = delete;
  FailingHandles& operator=(const FailingHandles&) = delete;
  ~FailingHandles();

  /// Whether one was asked for in vain since the last construction.
  [[nodiscard]] static bool haveFailed();
};
