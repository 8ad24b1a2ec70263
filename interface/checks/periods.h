#pragma once

#include <cstdint>
#include <string>

#include "interface/checks/Field.h"

/// How often a table can be repeated, in ms.

namespace vantor {

/// EN 300 468 clause 5.1.4.1: from the end of a section to the beginning of the next of its table.
constexpr unsigned int kShortestPeriod = 25;
/// An hour. Nobody waits so long for a table, and the rates are reckoned in 32 bits, which some hours more
/// overflow.
constexpr unsigned int kLongestPeriod = 3600000;

/// As values and reasons show it: "25 ms".
[[nodiscard]] std::string milliseconds(std::int64_t period);

/// True when the period is neither too short nor above `longest`.
[[nodiscard]] bool isPeriod(const Field& field, std::int64_t period, unsigned int longest = kLongestPeriod);

}  // namespace vantor
