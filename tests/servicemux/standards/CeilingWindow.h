#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

/// How much has left in the last second, and how much may have: the ceiling, summed up over that second. Where two
/// ceilings meet in it a packet may stand across both.
class CeilingWindow {
 public:
  /// From then on, in kbit/s.
  void setCeiling(std::int64_t now, unsigned int kbps);
  [[nodiscard]] unsigned int ceiling() const { return steps.empty() ? 0 : steps.back().kbps; }

  /// Something has left. Returns by how many bits the second that ends now has more than it may, 0 when it has not.
  std::int64_t add(std::int64_t now, std::size_t bytes);

  void forget();

 private:
  struct Step {
    std::int64_t time;
    unsigned int kbps;
  };
  struct Sending {
    std::int64_t time;
    std::int64_t bits;
  };

  [[nodiscard]] std::int64_t allowed(std::int64_t now);

  std::deque<Step> steps;
  std::deque<Sending> sendings;
  std::int64_t bits = 0;
};
