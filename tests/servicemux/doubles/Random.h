#pragma once

/// While it lives, random() returns one value, and 0 otherwise.
class FixedRandom {
 public:
  explicit FixedRandom(long value);
  FixedRandom(const FixedRandom&) = delete;
  FixedRandom& operator=(const FixedRandom&) = delete;
  ~FixedRandom();
};
