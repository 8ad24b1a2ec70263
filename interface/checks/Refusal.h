#pragma once

#include <string>

namespace vantor {

/// Why a record cannot be taken. Made in one place per record; whoever holds the door says it in its own way: a log
/// line, a line of a command line, an exception.
struct Refusal {
  std::string path;    ///< JSON pointer (RFC 6901) in the record's own field names; empty: the record as a whole
  std::string value;   ///< what stands there, as a message shows it; empty where no one value is at fault
  std::string reason;  ///< what is wrong with it, to be read after the value: "is above 0x1FFF"

  friend bool operator==(const Refusal& a, const Refusal& b) {
    return a.path == b.path && a.value == b.value && a.reason == b.reason;
  }
};

/// Value and reason as one text, like "9000 is above 0x1FFF".
inline std::string textOf(const Refusal& refusal) {
  return refusal.value.empty() ? refusal.reason : refusal.value + " " + refusal.reason;
}

}  // namespace vantor
