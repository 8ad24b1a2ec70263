#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Single packets made for a test.

namespace vantor::testing {

struct MadePacket {
  unsigned pid = 0x100;
  unsigned counter = 0;
  bool hasPayload = true;
  bool discontinuity = false;
  bool transportError = false;
  bool scrambled = false;
  std::optional<std::int64_t> pcr = std::nullopt;  // ticks of 27 MHz
  char fill = 'x';                                 // of the payload

  std::string bytes() const;
};

}  // namespace vantor::testing
