#pragma once

/// The module slot of the host while it lives; without one it is 0.
class Slot {
 public:
  explicit Slot(int number);
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;
  ~Slot();
};
