#pragma once

#include <cstdint>
#include <string>

#include "interface/checks/Field.h"

/// How often a table can be repeated, in ms.

namespace vantor {

/// An hour. Nobody waits so long for a table, and the rates are reckoned in 32 bits, which some hours more
/// overflow.
constexpr unsigned int kLongestPeriod = 3600000;

/// As values and reasons show it: "25 ms".
[[nodiscard]] std::string milliseconds(std::int64_t period);

/// True when the period is neither below the distance of sections nor above `longest`.
[[nodiscard]] bool isPeriod(const Field& field, std::int64_t period, unsigned int longest = kLongestPeriod);

}  // namespace vantor
