#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantor {

/// Keeps a flood of one message from burying the log: of equal messages it lets ten a second pass and counts the
/// rest. While the flood lasts, each second yields one summary with its count and nothing passes; a second with no
/// more than ten ends the flood.
///
/// Each text is counted by itself, so that floods from several sources are held back although they interleave. At
/// most kMaxTexts texts are remembered, each for as long as its second lasts; beyond that messages pass uncounted.
/// The time of day comes in as an argument; a clock that jumps ends the seconds it leaves. Not thread-safe.
class RepeatFilter {
 public:
  using Time = std::chrono::system_clock::time_point;

  struct Summary {
    std::string text;
    std::uint64_t count;  ///< messages that did not pass
  };

  static constexpr std::uint64_t kMaxPerSecond = 10;
  static constexpr std::size_t kMaxTexts = 256;

  /// True when the message is to be written. Call takeEnded with the same time before it.
  [[nodiscard]] bool passes(std::string_view text, Time now);

  /// The summaries of all seconds that are over, in the texts' order.
  [[nodiscard]] std::vector<Summary> takeEnded(Time now);

  /// All summaries, also of seconds that are not over. Forgets everything.
  [[nodiscard]] std::vector<Summary> takeAll();

 private:
  struct Second {
    Time start;
    std::uint64_t messages = 0;
    std::uint64_t held = 0;
    bool flooded = false;  // when it began
  };

  static bool isOver(const Second& second, Time now);

  std::map<std::string, Second, std::less<>> texts;
};

}  // namespace vantor
